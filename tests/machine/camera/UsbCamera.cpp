// zeqcam-usb-camera FOLDER: a camera of the USB video class at the port that gadgetfs, mounted at FOLDER,
// offers of the kernel's own emulated host. The camera's driver, device nodes and power are the kernel's; it
// has no pictures to give. It stays plugged in until this process ends.
#include <fcntl.h>
#include <linux/usb/ch9.h>
#include <linux/usb/gadgetfs.h>
#include <linux/usb/video.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view kName = "Test camera";
constexpr std::uint8_t kNameIndex = 1;
constexpr std::uint32_t kWidth = 320;
constexpr std::uint32_t kHeight = 240;
constexpr std::uint32_t kFrameBytes = kWidth * kHeight * 2;
constexpr std::uint32_t kFrameInterval = 333333;  // in 100 ns
constexpr std::uint8_t kEndpoint = USB_DIR_IN | 1;
constexpr std::uint8_t kCamera = 1;  // terminals
constexpr std::uint8_t kOutput = 2;

Bytes operator+(Bytes left, Bytes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// Its lowest byte first, as all numbers at USB.
Bytes number(std::uint32_t value, std::size_t size) {
    Bytes bytes;
    for (std::size_t i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    return bytes;
}

constexpr std::size_t kHead = 2;  // each descriptor begins with its length and its type

Bytes descriptor(std::uint8_t type, Bytes const& rest) {
    return Bytes{static_cast<std::uint8_t>(kHead + rest.size()), type} + rest;
}

// One whose bytes end with the length of all that belongs to it, itself included, and then `end`.
Bytes withTotal(std::uint8_t type, Bytes const& begin, Bytes const& end, Bytes const& parts) {
    std::size_t const total = kHead + begin.size() + 2 + end.size() + parts.size();
    return descriptor(type, begin + number(static_cast<std::uint32_t>(total), 2) + end) + parts;
}

Bytes controlInterface() {
    Bytes const terminals =
        descriptor(USB_DT_CS_INTERFACE, Bytes{UVC_VC_INPUT_TERMINAL, kCamera} + number(UVC_ITT_CAMERA, 2) +
                                            Bytes(8) + Bytes{3, 0, 0, 0}) +
        descriptor(USB_DT_CS_INTERFACE, Bytes{UVC_VC_OUTPUT_TERMINAL, kOutput} + number(UVC_TT_STREAMING, 2) +
                                            Bytes{0, kCamera, 0});
    return descriptor(USB_DT_INTERFACE, {0, 0, 0, USB_CLASS_VIDEO, UVC_SC_VIDEOCONTROL, 0, 0}) +
           withTotal(USB_DT_CS_INTERFACE, Bytes{UVC_VC_HEADER} + number(0x0100, 2),
                     number(48'000'000, 4) + Bytes{1, 1}, terminals);
}

Bytes streamingInterface() {
    Bytes const yuy2{'Y', 'U', 'Y', '2', 0, 0, 0x10, 0, 0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71};
    Bytes const rates = number(kFrameBytes * 30 * 8, 4) + number(kFrameBytes * 30 * 8, 4);
    Bytes const formats =
        descriptor(USB_DT_CS_INTERFACE,
                   Bytes{UVC_VS_FORMAT_UNCOMPRESSED, 1, 1} + yuy2 + Bytes{16, 1, 0, 0, 0, 0}) +
        descriptor(USB_DT_CS_INTERFACE, Bytes{UVC_VS_FRAME_UNCOMPRESSED, 1, 0} + number(kWidth, 2) +
                                            number(kHeight, 2) + rates + number(kFrameBytes, 4) +
                                            number(kFrameInterval, 4) + Bytes{1} + number(kFrameInterval, 4));
    return descriptor(USB_DT_INTERFACE, {1, 0, 1, USB_CLASS_VIDEO, UVC_SC_VIDEOSTREAMING, 0, 0}) +
           withTotal(USB_DT_CS_INTERFACE, {UVC_VS_INPUT_HEADER, 1}, {kEndpoint, 0, kOutput, 0, 0, 0, 1, 0},
                     formats) +
           descriptor(USB_DT_ENDPOINT, {kEndpoint, USB_ENDPOINT_XFER_BULK, 64, 0, 0});
}

// What gadgetfs is to be told: a word that is 0, the configuration, the device.
Bytes camera() {
    Bytes const interfaces = descriptor(USB_DT_INTERFACE_ASSOCIATION,
                                        {0, 2, USB_CLASS_VIDEO, UVC_SC_VIDEO_INTERFACE_COLLECTION, 0, 0}) +
                             controlInterface() + streamingInterface();
    return Bytes(4) + withTotal(USB_DT_CONFIG, {}, {2, 1, 0, USB_CONFIG_ATT_ONE, 250}, interfaces) +
           descriptor(USB_DT_DEVICE, number(0x0200, 2) + Bytes{USB_CLASS_MISC, 2, 1, 64} + number(0x1d6b, 2) +
                                         number(0x0102, 2) + number(1, 2) + Bytes{0, kNameIndex, 0, 1});
}

Bytes answerTo(usb_ctrlrequest const& request) {
    if (request.bRequest == USB_REQ_GET_DESCRIPTOR) {
        bool const asksForLanguages = (request.wValue & 0xff) == 0;
        Bytes text;
        for (char const letter : kName) text = text + number(static_cast<std::uint8_t>(letter), 2);
        return descriptor(USB_DT_STRING, asksForLanguages ? number(0x0409, 2) : text);
    }
    // The stream that the host would get.
    return number(0, 2) + Bytes{1, 1} + number(kFrameInterval, 4) + Bytes(10) + number(kFrameBytes, 4) +
           number(1024, 4);
}

void answer(int port, usb_ctrlrequest const& request) {
    bool const isAsked = (request.bRequestType & USB_DIR_IN) != 0;
    Bytes bytes(request.wLength);
    // To read where an answer is due refuses. With defaults refused the host sends nothing back: gadgetfs
    // mistakes what comes after such data where this process is slow to fetch it.
    if (!isAsked || request.bRequest == UVC_GET_DEF) {
        [[maybe_unused]] auto const done = read(port, bytes.data(), bytes.size());
        return;
    }
    bytes = answerTo(request);
    if (write(port, bytes.data(), std::min<std::size_t>(bytes.size(), request.wLength)) < 0)
        std::perror("usb-camera: an answer");
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: zeqcam-usb-camera FOLDER\n", stderr);
        return 2;
    }
    std::string const path = std::string(arguments[1]) + "/dummy_udc";
    int const port = open(path.c_str(), O_RDWR | O_CLOEXEC);
    Bytes const all = camera();
    if (port < 0 || write(port, all.data(), all.size()) < 0) {
        std::perror(path.c_str());
        return 1;
    }
    for (usb_gadgetfs_event event{}; read(port, &event, sizeof event) > 0;)
        if (event.type == GADGETFS_SETUP) answer(port, event.u.setup);
    std::perror(path.c_str());
    return 1;
}
