#include "text/Markup.h"

#include "text/Printable.h"
#include "text/TextWidth.h"

namespace zeqcam::tool {

std::string escaped(std::string_view text) {
    std::string out;
    std::string const safe = printable(text);
    for (Character const& character : charactersOf(safe)) {
        switch (character.code) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case 0xfffe:
            case 0xffff:
                out += "\xef\xbf\xbd";
                break;
            default:
                out += character.bytes;
        }
    }
    return out;
}

}  // namespace zeqcam::tool
