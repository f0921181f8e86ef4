#pragma once

#include "analysis/Selection.h"
#include "record/Record.h"
#include "rules/Strictness.h"

#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeqcam::tool {

enum class Glyphs : std::uint8_t { Ascii, Utf8 };

// A text that a record was made from, or would be made from again.
struct Source {
    std::string name;  // of its file
    std::string text;
};

// How a record is to be shown; each view takes what concerns it.
struct Presentation {
    std::string title;  // what it is of, for a picture's head
    int columns = 80;   // of the terminal
    bool colours = false;
    Glyphs glyphs = Glyphs::Ascii;
    Strictness strictness;  // where the view tells what the rules say
    Selection selection{};
    bool full = false;  // a picture may become as tall and large as it takes
    std::vector<Source> sources{};
};

class Series;

// A way to show a record. It reads the record and nothing else, and writes to `out` alone; the same record
// and presentation give the same bytes. Any number may run at once.
struct View {
    std::string_view option;  // of the command line, after "--"
    std::string_view help;
    void (*write)(Record const& record, Presentation const& presentation, std::ostream& out);
    // The same of many runs; null: it is of one.
    void (*writeSeries)(Series const& series, Presentation const& presentation, std::ostream& out) = nullptr;
};

// Those that a command writes to a file where its option asks for that, in the order of the help text.
std::span<View const> fileViews();

}  // namespace zeqcam::tool
