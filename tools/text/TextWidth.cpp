#include "text/TextWidth.h"

#include <locale.h>
#include <wchar.h>

#include <cwchar>

namespace zeqcam::tool {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";  // U+FFFD

// The calling thread reads text as UTF-8, whatever the user's locale is.
class Utf8Locale {
  public:
    Utf8Locale() {
        static locale_t const utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        mBefore = uselocale(utf8);
    }
    ~Utf8Locale() { uselocale(mBefore); }
    Utf8Locale(Utf8Locale const&) = delete;
    Utf8Locale& operator=(Utf8Locale const&) = delete;

  private:
    locale_t mBefore;
};

Character firstOf(std::string_view text) {
    std::mbstate_t state{};
    wchar_t code = 0;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the state is this call's own
    std::size_t const size = std::mbrtowc(&code, text.data(), text.size(), &state);
    if (size > text.size()) return {0xfffd, kReplacement, 1};
    int const columns = wcwidth(code);
    return {static_cast<char32_t>(code), text.substr(0, size == 0 ? 1 : size), columns < 0 ? 1 : columns};
}

}  // namespace

std::vector<Character> charactersOf(std::string_view text) {
    Utf8Locale const utf8;
    std::vector<Character> characters;
    while (!text.empty()) {
        Character const& character = characters.emplace_back(firstOf(text));
        text.remove_prefix(character.bytes.data() == text.data() ? character.bytes.size() : 1);
    }
    return characters;
}

int columnsOf(std::string_view text) {
    int columns = 0;
    for (Character const& character : charactersOf(text)) columns += character.columns;
    return columns;
}

std::string shortened(std::string_view text, int columns, std::string_view sign) {
    if (columnsOf(text) <= columns) return std::string(text);
    int room = columns - columnsOf(sign);
    if (room < 0) return {};
    std::string kept;
    for (Character const& character : charactersOf(text)) {
        room -= character.columns;
        if (room < 0) break;
        kept += character.bytes;
    }
    return kept.append(sign);
}

}  // namespace zeqcam::tool
