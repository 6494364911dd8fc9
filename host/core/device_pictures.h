// The pictures that a plug-in gets on a device during one action.
#pragma once

#include <mutex>
#include <vector>

#include "host/core/device.h"
#include "host/core/image.h"

namespace ofxhost {

class DevicePictures {
  public:
    // `inOrder`: the plug-in's work goes on the queue's own stream. Otherwise pictures are there before it gets them.
    DevicePictures(DeviceQueue& queue, bool inOrder) : m_queue(queue), m_inOrder(inOrder) {}
    ~DevicePictures();
    DevicePictures(const DevicePictures&) = delete;
    DevicePictures& operator=(const DevicePictures&) = delete;

    // The bottom-left pixel of a copy on the device, whose rows lie bottom to top, as long as the image's with their
    // padding. The same image is copied once. Null where the device fails. From any thread.
    void* give(const ImagePtr& image, bool isOutput);
    static std::ptrdiff_t rowBytes(const Image& image);

    // When the plug-in has done its work: waits for it, and brings what it made to the images of outputs. False where
    // the device failed at any time; then the images are as they were.
    struct Faults {
        bool outsideWritten = false;  // of any image's pixels
        bool sourceWritten = false;   // looked for when asked to
    };
    bool bringBack(bool checkSources, Faults& faults);

  private:
    // An image's rows, bottom to top, between two stretches of a pattern; the same on both sides.
    struct Picture {
        ImagePtr image;
        bool isOutput = false;
        std::vector<std::byte> bytes;
        void* memory = nullptr;
    };
    bool send(Picture& picture);
    bool fetch(Picture& picture, std::vector<std::byte>& bytes);

    DeviceQueue& m_queue;
    bool m_inOrder;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<Picture>> m_pictures;
    bool m_failed = false, m_finished = false;
};

}  // namespace ofxhost
