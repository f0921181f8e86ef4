// The calls of the process on its task QoS file, noted and made to fail as the settings say. The kernel's own
// means show no flag that concerns the descriptor alone, need a device that not every machine has, and serve
// a write on another thread. So the board's `open`, `write` and `close` come before the C library's, as those
// of a sanitizer do, and pass everything else straight on.
#include "Device.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>

namespace zeqcam::board {
namespace {

constexpr char const* kPath = "/sys/rsc/qos/set_task_qos";

using Open = int(char const*, int, ...);
using Write = ssize_t(int, void const*, std::size_t);
using Close = int(int);

// What comes after the board: the C library.
template <class Function>
Function* next(char const* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

Open& nextOpen() {
    static Open* const function = next<Open>("open");
    return *function;
}
Write& nextWrite() {
    static Write* const function = next<Write>("write");
    return *function;
}
Close& nextClose() {
    static Close* const function = next<Close>("close");
    return *function;
}

// Which descriptors are open on the file, also those that an earlier board was told of. Higher ones than
// these, which no library has that opens the file once, go unseen. Relaxed: they must order no threads.
constinit std::array<std::atomic<bool>, 4096> gIsQosFile{};

bool isFollowed(int descriptor) {
    return descriptor >= 0 && static_cast<std::size_t>(descriptor) < gIsQosFile.size();
}

bool isQosFile(int descriptor) {
    return isFollowed(descriptor) &&
           gIsQosFile[static_cast<std::size_t>(descriptor)].load(std::memory_order_relaxed) && !inBoard();
}

void setQosFile(int descriptor, bool isIt) {
    if (isFollowed(descriptor)) {
        gIsQosFile[static_cast<std::size_t>(descriptor)].store(isIt, std::memory_order_relaxed);
    }
}

// A call's result and its error number are its caller's to see, whatever the board did since.
template <class Result>
class Answer {
  public:
    explicit Answer(Result result) : mResult(result), mError(errno) {}
    ~Answer() { errno = mError; }
    Answer(Answer const&) = delete;
    Answer& operator=(Answer const&) = delete;

    [[nodiscard]] Result result() const { return mResult; }
    [[nodiscard]] std::int64_t number() const { return mResult < 0 ? -mError : std::int64_t{mResult}; }

  private:
    Result const mResult;
    int const mError;
};

int openQosFile(int flags, mode_t mode) {
    Answer const answer(nextOpen()(kPath, flags, mode));
    setQosFile(answer.result(), true);
    if (Device* const device = standing()) {
        note(device->journal, [&] {
            std::array<char, 16> text{};
            std::snprintf(text.data(), text.size(), "0x%x", static_cast<unsigned int>(flags));
            return Entry{.kind = Kind::QosOpen, .number = answer.number(), .detail = text.data()};
        });
    }
    return answer.result();
}

// What becomes of the write that begins now; null: what the file does.
QosWrites const* nextFault(Device& device) {
    int const nth = device.qosWrites.fetch_add(1, std::memory_order_relaxed) + 1;
    QosWrites const& writes = device.settings().qosWrites;
    auto const& times = writes.times;
    return times.empty() || std::count(times.begin(), times.end(), nth) > 0 ? &writes : nullptr;
}

ssize_t writeWithFault(QosWrites const* fault, int descriptor, void const* bytes, std::size_t size) {
    if (fault && fault->error != 0) {
        errno = fault->error;
        return -1;
    }
    if (fault && fault->atMost >= 0) size = std::min(size, static_cast<std::size_t>(fault->atMost));
    return nextWrite()(descriptor, bytes, size);
}

ssize_t writeQosFile(int descriptor, void const* bytes, std::size_t size) {
    Device* const device = standing();
    if (!device) return nextWrite()(descriptor, bytes, size);
    QosWrites const* const fault = nextFault(*device);
    bool const hangs = fault && fault->hang;
    // Who sees in the journal that it hangs may let the board go.
    auto const kept = hangs ? device->shared_from_this() : nullptr;
    note(device->journal, [&] {
        return Entry{.kind = Kind::QosWrite,
                     .number = descriptor,
                     .text = std::string(static_cast<char const*>(bytes), size)};
    });
    if (hangs) device->hangQosWrite();
    Answer const answer(writeWithFault(fault, descriptor, bytes, size));
    note(device->journal, [&] { return Entry{.kind = Kind::QosWriteDone, .number = answer.number()}; });
    return answer.result();
}

}  // namespace
}  // namespace zeqcam::board

using namespace zeqcam::board;

extern "C" {

ZEQCAM_BOARD_API int open(char const* path, int flags, ...) {
    std::va_list values;
    va_start(values, flags);
    bool const makesFile = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    mode_t const mode = makesFile ? va_arg(values, mode_t) : 0;
    va_end(values);
    if (std::strcmp(path, kPath) != 0 || inBoard()) return nextOpen()(path, flags, mode);
    InBoard const inside;
    return openQosFile(flags, mode);
}

ZEQCAM_BOARD_API ssize_t write(int descriptor, void const* bytes, std::size_t size) {
    if (!isQosFile(descriptor)) return nextWrite()(descriptor, bytes, size);
    InBoard const inside;
    return writeQosFile(descriptor, bytes, size);
}

ZEQCAM_BOARD_API int close(int descriptor) {
    if (!isQosFile(descriptor)) return nextClose()(descriptor);
    InBoard const inside;
    setQosFile(descriptor, false);  // before another thread's open may get the same number
    if (Device* const device = standing()) {
        note(device->journal, [&] { return Entry{.kind = Kind::QosClose, .number = descriptor}; });
    }
    return nextClose()(descriptor);
}
}
