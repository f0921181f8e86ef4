// Calls on files that one thread may make behind another's back, in the C library's place. Its header is not
// included: what it declares inline for checked calls would stand in the way.
#include "Libc.h"
#include "Turn.h"

#include <cstdarg>

namespace zeqcam::simulation {
namespace {

// Descriptors are given out and taken back: all such calls meet here.
char gFiles;

void reachFiles() {
    if (self() != nullptr) scheduler()->reach({.what = "files", .object = &gFiles});
}

}  // namespace
}  // namespace zeqcam::simulation

using namespace zeqcam::simulation;

#define TAKES_PLACE extern "C" [[gnu::visibility("default")]]

TAKES_PLACE int open(char const* path, int flags, ...);
TAKES_PLACE int open64(char const* path, int flags, ...);

TAKES_PLACE int open(char const* path, int flags, ...) {
    std::va_list list;
    va_start(list, flags);
    auto const mode = va_arg(list, unsigned int);
    va_end(list);
    reachFiles();
    return libc().open(path, flags, mode);
}

TAKES_PLACE int open64(char const* path, int flags, ...) {
    std::va_list list;
    va_start(list, flags);
    auto const mode = va_arg(list, unsigned int);
    va_end(list);
    reachFiles();
    return libc().open(path, flags, mode);
}

TAKES_PLACE int close(int descriptor) {
    reachFiles();
    return libc().close(descriptor);
}

TAKES_PLACE ssize_t write(int descriptor, void const* bytes, size_t count) {
    reachFiles();
    return libc().write(descriptor, bytes, count);
}
