#include "run/LogOutput.h"

#include "text/Addresses.h"

#include <string>
#include <string_view>

namespace zeqcam::tool {

void LogOutput::close() {
    std::lock_guard const hold(mLock);
    mOpen = false;
}

// A line that the stream does not take fails the stream, and nobody else: the run goes on.
std::streamsize LogOutput::xsputn(char const* text, std::streamsize size) {
    std::lock_guard const hold(mLock);
    if (!mOpen) return size;
    std::string_view const line(text, static_cast<std::size_t>(size));
    mOut << (mAddresses == Addresses::Hidden ? withoutAddresses(line) : std::string(line)) << std::flush;
    return size;
}

LogOutput::int_type LogOutput::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
    char const text = traits_type::to_char_type(character);
    xsputn(&text, 1);
    return character;
}

}  // namespace zeqcam::tool
