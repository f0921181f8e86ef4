#pragma once

#include <zeqcam/board/QosFile.h>
#include <zeqcam/platform/Properties.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

namespace zeqcam::benchmarks {

// The hint by hand: a descriptor that stands open, one snprintf, one write, the property that asks for a log
// line. It leaves out what a failure needs: opening the file again, and a log line.
class QosLine {
  public:
    QosLine() : mDescriptor(open("/sys/rsc/qos/set_task_qos", O_WRONLY)) {}
    ~QosLine() {
        if (mDescriptor >= 0) close(mDescriptor);
    }
    QosLine(QosLine const&) = delete;
    QosLine& operator=(QosLine const&) = delete;

    void write() const {
        char line[32] = {};
        int const length = std::snprintf(line, sizeof line, "%d %d %d %d", gettid(), 129, 1, 0);
        if (::write(mDescriptor, line, static_cast<std::size_t>(length) + 1) < 0) return;
        NSCam::Utils::Properties::property_get_int32("vendor.debug.camera.log", 0);
    }

  private:
    int const mDescriptor;
};

// The file has room for some millions of hints.
inline void emptyQosFile() {
    board::QosFile::set(board::QosFile::Is::Writable);
    board::QosFile::takeLines();
}

}  // namespace zeqcam::benchmarks
