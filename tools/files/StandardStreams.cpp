#include "files/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

namespace zeqcam::tool {

void secureStandardStreams() {
    // The lowest free number is given. An output that is open for reading takes nothing.
    for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
        if (fcntl(file, F_GETFD) < 0) static_cast<void>(open("/dev/null", O_RDONLY));
    }
    std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace zeqcam::tool
