// Effects that are declared with their clips and pass their primary clip through.
//
// A row becomes a room of its own (see Darken.h) when the effect gets its picture.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "Library2/PluginK7.h"

struct PassThroughRow {
    EffectTraits traits;
    ClipParam clips[6]{};  // unused places have no name
};

inline constexpr PassThroughRow PASS_THROUGH[] = {
    // clang-format off
    // clang-format on
};

class PassThroughInfo : public EffectInfo {
  public:
    explicit PassThroughInfo(const PassThroughRow& row);

  private:
    Page m_page;
    std::vector<std::unique_ptr<ClipRecord>> m_clips;
};

class PassThrough final : public PluginK7, public OverlayK7 {
  public:
    explicit PassThrough(const PassThroughRow& row) : m_row(row), m_info(row) {}
    EffectInfo& info() override { return m_info; }
    OverlayK7& overlaySide() override { return *this; }
    const EffectTraits& effectTraits() const override { return m_row.traits; }

  protected:
    EffectInfo& overlayInfo() override { return m_info; }

  private:
    const PassThroughRow& m_row;
    PassThroughInfo m_info;
};

consteval std::size_t passThroughRow(std::string_view name) {
    for (std::size_t i = 0; i < std::size(PASS_THROUGH); ++i)
        if (PASS_THROUGH[i].traits.name == name) return i;
    throw "no such effect";
}

template <std::size_t Row>
constexpr EffectDefinition definePassThrough() {
    return {&PASS_THROUGH[Row].traits,
            []() -> std::unique_ptr<EffectInfo> { return std::make_unique<PassThroughInfo>(PASS_THROUGH[Row]); },
            []() -> std::unique_ptr<PluginK7> { return std::make_unique<PassThrough>(PASS_THROUGH[Row]); }, false};
}
