#include "files/DescriptorBuffer.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace zeqcam::tool {

DescriptorBuffer::DescriptorBuffer(int file) : mFile(file) {
    setp(mWaiting.data(), mWaiting.data() + mWaiting.size());
}

DescriptorBuffer::int_type DescriptorBuffer::overflow(int_type character) {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(character, traits_type::eof())) sputc(traits_type::to_char_type(character));
    return traits_type::not_eof(character);
}

int DescriptorBuffer::sync() {
    char const* next = pbase();
    while (mError == 0 && next < pptr()) {
        ssize_t const written = write(mFile, next, static_cast<std::size_t>(pptr() - next));
        if (written >= 0) {
            next += written;
        } else if (errno != EINTR) {
            mError = errno;
        }
    }
    setp(mWaiting.data(), mWaiting.data() + mWaiting.size());
    return mError == 0 ? 0 : -1;
}

}  // namespace zeqcam::tool
