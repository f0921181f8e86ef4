#include "record/Texts.h"

namespace zeqcam::tool {

TextId Texts::add(std::string_view text) {
    if (text.empty()) return TextId::Empty;
    if (auto const known = mIds.find(text); known != mIds.end()) return known->second;
    auto const id = static_cast<TextId>(mTexts.size() + 1);
    mIds.emplace(mTexts.emplace_back(text), id);
    return id;
}

std::string_view Texts::of(TextId id) const {
    return id == TextId::Empty ? std::string_view() : mTexts[static_cast<std::size_t>(id) - 1];
}

}  // namespace zeqcam::tool
