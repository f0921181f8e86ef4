#include "text/Printable.h"

namespace zeqcam::tool {
namespace {

unsigned byteAt(std::string_view text, std::size_t place) {
    return static_cast<unsigned char>(text[place]);
}

// The C1 controls, U+0080 to U+009F, are this byte and one of 0x80 to 0x9f in UTF-8.
constexpr unsigned kC1Lead = 0xc2;

bool isC1(std::string_view text, std::size_t place) {
    return byteAt(text, place) == kC1Lead && place + 1 < text.size() && byteAt(text, place + 1) < 0xa0;
}

void spellOut(std::string& out, unsigned byte) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    out += "\\x";
    out += kDigits[byte / 16];
    out += kDigits[byte % 16];
}

}  // namespace

std::string printable(std::string_view text) {
    std::string out;
    for (std::size_t place = 0; place < text.size(); ++place) {
        bool const c1 = isC1(text, place);
        if (c1) ++place;
        unsigned const byte = byteAt(text, place);
        if (c1 || byte < 0x20 || byte == 0x7f) {
            spellOut(out, byte);
        } else {
            out += text[place];
        }
    }
    return out;
}

}  // namespace zeqcam::tool
