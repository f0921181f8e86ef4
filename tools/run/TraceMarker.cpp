#include "run/TraceMarker.h"

#include "files/OutputFile.h"

#include <fcntl.h>
#include <mntent.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {
namespace {

struct Close {
    void operator()(std::FILE* table) const { endmntent(table); }
};

std::vector<std::string> foldersOfTheTracer() {
    std::vector<std::string> folders;
    std::unique_ptr<std::FILE, Close> const table(setmntent("/proc/self/mounts", "re"));
    while (mntent const* const mount = table ? getmntent(table.get()) : nullptr) {
        if (std::string_view(mount->mnt_type) == "tracefs") folders.emplace_back(mount->mnt_dir);
    }
    // debugfs mounts the tracer when somebody looks for it.
    folders.emplace_back("/sys/kernel/tracing");
    folders.emplace_back("/sys/kernel/debug/tracing");
    return folders;
}

bool isOff(std::string const& folder) {
    std::ifstream file(folder + "/tracing_on");
    return file.get() == '0';
}

}  // namespace

Descriptor openTraceMarker() {
    for (std::string const& folder : foldersOfTheTracer()) {
        std::string const path = folder + "/trace_marker";
        Descriptor marker(open(path.c_str(), O_WRONLY | O_CLOEXEC));
        if (marker.get() >= 0 && isOff(folder)) throw CannotOpen(folder + "/tracing_on: the tracer is off");
        if (marker.get() >= 0) return marker;
        if (errno != ENOENT) throw CannotOpen(path + ": cannot be written: " + std::strerror(errno));
    }
    throw CannotOpen("the kernel's tracer is not mounted; mount -t tracefs nodev /sys/kernel/tracing");
}

}  // namespace zeqcam::tool
