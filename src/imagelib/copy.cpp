// Copies: whole images, single channels, channels by a list.
#include <algorithm>
#include <cstring>
#include <vector>

#include "imagelib/samples.h"
#include "k7pi_baselib/in_memory.h"

namespace {

// Where one destination channel comes from: image 0 or 1 and a channel counted from 0, or nowhere.
struct ChannelSource {
    int image = -1;
    int channel = 0;
};
using ChannelPlan = std::vector<ChannelSource>;

// A list shorter than the image repeats its last entry.
int list_entry(const int* map, int count, int channel) { return map[std::min(channel, count - 1)]; }

// All sources of a pixel are read before its channels are written, so the images may be one and the same.
template <class T>
void copy_planned_rows(const K7Image* const sources[2], K7Image* destination, const ChannelPlan& plan, int first,
                       int last) {
    std::vector<T> pixel(plan.size());
    for (int y = first; y <= last; ++y) {
        const T* rows[2] = {image_row<T>(sources[0], y), image_row<T>(sources[1], y)};
        T* out = image_row<T>(destination, y);
        for (int x = 0; x < destination->width; ++x) {
            for (std::size_t c = 0; c < plan.size(); ++c)
                pixel[c] = plan[c].image < 0 ? out[c] : rows[plan[c].image][plan[c].channel];
            std::copy(pixel.begin(), pixel.end(), out);
            rows[0] += sources[0]->channels;
            rows[1] += sources[1]->channels;
            out += destination->channels;
        }
    }
}

bool copy_planned(const K7Image* a, const K7Image* b, K7Image* destination, const ChannelPlan& plan) {
    const K7Image* const sources[2] = {a, b};
    return visit_sample_type(destination->sample_type, [&](auto sample) {
        for_rows(destination->height, [&](int first, int last) {
            copy_planned_rows<decltype(sample)>(sources, destination, plan, first, last);
        });
        destination->stats_valid = 0;
    });
}

}  // namespace

K7Image* image_clone_layout(const K7Image* image) {
    if (!image) return nullptr;
    K7Image* clone = image_create(image->width, image->height, image->channels, image->sample_type, 1);
    if (!clone) return nullptr;
    image_copy_attributes(image, clone);
    clone->stats_valid = 0;
    return clone;
}

K7Image* image_duplicate(const K7Image* image) {
    if (!is_valid(image)) return nullptr;
    K7Image* copy = image_create_uncleared(image->width, image->height, image->channels, image->sample_type);
    if (copy) image_copy(image, copy);
    return copy;
}

bool image_copy(const K7Image* source, K7Image* destination) {
    if (!image_same_layout(source, destination) || !is_valid(source) || !is_valid(destination)) return false;
    if (source->pixels != destination->pixels) {
        for_buffer_rows(source, [&](int first, int last) {
            if (first > last) return;
            std::memcpy(image_row<std::byte>(destination, first), image_row<std::byte>(source, first),
                        std::size_t(last - first + 1) * source->row_bytes);
        });
    }
    return image_copy_attributes(source, destination);
}

bool image_copy_channels(const K7Image* source, K7Image* destination, int mask) {
    if (mask == 0) return true;
    if (mask == -1) return image_copy(source, destination);
    if (!image_same_layout(source, destination) || !is_valid(source) || !is_valid(destination)) return false;
    return in_memory([&] {
        ChannelPlan plan(source->channels);
        for (int c = 0; c < source->channels && c < 32; ++c)
            if (static_cast<unsigned>(mask) >> c & 1u) plan[std::size_t(c)] = {0, c};
        return copy_planned(source, source, destination, plan);
    });
}

bool image_copy_mapped(const K7Image* source, K7Image* destination, const int* map, int count) {
    if (!image_same_layout(source, destination) || !is_valid(source) || !is_valid(destination)) return false;
    if (count == 0) return true;
    if (!map || count < 0) return false;
    return in_memory([&] {
        ChannelPlan plan(source->channels);
        for (int c = 0; c < source->channels; ++c) {
            const int entry = std::min<int>(list_entry(map, count, c), source->channels);
            if (entry > 0) plan[std::size_t(c)] = {0, entry - 1};
        }
        return copy_planned(source, source, destination, plan);
    });
}

bool image_merge_mapped(const K7Image* a, const K7Image* b, K7Image* destination, const int* map, int count) {
    if (!is_valid(a) || !is_valid(b) || !is_valid(destination)) return false;
    for (const K7Image* source : {a, b})
        if (source->width != destination->width || source->height != destination->height ||
            source->sample_type != destination->sample_type)
            return false;
    if (count == 0) return true;
    if (!map || count < 0) return false;
    return in_memory([&] {
        ChannelPlan plan(destination->channels);
        for (int c = 0; c < destination->channels; ++c) {
            const int entry = std::clamp<int>(list_entry(map, count, c), -int(b->channels), a->channels);
            if (entry > 0) plan[std::size_t(c)] = {0, entry - 1};
            if (entry < 0) plan[std::size_t(c)] = {1, -entry - 1};
        }
        return copy_planned(a, b, destination, plan);
    });
}
