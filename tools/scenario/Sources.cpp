#include "scenario/Sources.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

namespace zeqcam::tool {
namespace {

// Far beyond any scenario, and a bound on devices that never end.
constexpr std::size_t kLargestFile = 1 << 20;

struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// Its text, or why it cannot be had.
std::string contents(std::string const& path, std::string& text) {
    std::unique_ptr<std::FILE, Close> const file(std::fopen(path.c_str(), "rbe"));
    if (!file) return std::string("cannot be read: ") + std::strerror(errno);
    text.resize(kLargestFile + 1);
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get())) return std::string("cannot be read: ") + std::strerror(errno);
    return text.size() > kLargestFile ? "cannot be read: larger than 1 MiB" : "";
}

// The same for each way to name a file that there is.
std::filesystem::path identity(std::string const& path) {
    std::error_code none;
    auto found = std::filesystem::weakly_canonical(path, none);
    return none ? std::filesystem::path(path) : found;
}

}  // namespace

void Sources::readFile(std::string const& path) {
    read(path, nullptr, nullptr);
}

void Sources::readText(std::string_view text) {
    auto const* const table = parse(text, "");
    auto const* const include = table ? table->get("include") : nullptr;
    if (include) faultAt(include, "", "a text includes no file");
}

Tables Sources::tables() const {
    Tables all;
    for (auto const& table : mTables) all.push_back(table.get());
    return all;
}

std::vector<toml::table*> Sources::editable() {
    std::vector<toml::table*> all;
    for (auto const& table : mTables) all.push_back(table.get());
    return all;
}

void Sources::read(std::string const& path, Way const* before, toml::node const* includer) {
    Way const way{before, identity(path)};
    for (auto const* outer = before; outer; outer = outer->before) {
        if (outer->file == way.file) return faultAt(includer, path, inQuotes(path) + " includes itself");
    }
    if (std::find(mRead.begin(), mRead.end(), way.file) != mRead.end()) return;
    mRead.push_back(way.file);
    std::string text;
    if (std::string const reason = contents(path, text); !reason.empty())
        return faultAt(includer, path, includer ? inQuotes(path) + ' ' + reason : reason);
    mNames.push_back(path);
    auto const* const file = parse(text, path);
    if (!file) return;
    auto const* const client = includer ? file->get("client") : nullptr;
    if (client) {
        mFaults.push_back({lineOf(client->source()), "client", "stands in an included file, where none plays",
                           fileOf(client->source())});
    }
    include(*file, way);
}

void Sources::include(toml::table const& file, Way const& way) {
    auto const* const value = file.get("include");
    if (!value) return;
    auto const one = [&](toml::node const& name) {
        auto const* const text = name.as_string();
        if (!text || text->get().empty())
            return faultAt(&name, "", "must be the path of a file, or a list of such");
        auto const folder = std::filesystem::path(fileOf(value->source())).parent_path();
        read((folder / text->get()).string(), &way, &name);
    };
    if (auto const* const list = value->as_array()) {
        for (auto const& each : *list) one(each);
    } else {
        one(*value);
    }
}

toml::table const* Sources::parse(std::string_view text, std::string const& path) {
    toml::parse_result parsed = path.empty() ? toml::parse(text) : toml::parse(text, path);
    if (!parsed) {
        auto const& error = parsed.error();
        mFaults.push_back({lineOf(error.source()), "syntax", std::string(error.description()), path});
        return nullptr;
    }
    mTables.push_back(std::make_unique<toml::table>(std::move(parsed).table()));
    return mTables.back().get();
}

void Sources::faultAt(toml::node const* includer, std::string const& path, std::string message) {
    if (!includer) {
        mFaults.push_back({0, "", std::move(message), path});
    } else {
        mFaults.push_back(
            {lineOf(includer->source()), "include", std::move(message), fileOf(includer->source())});
    }
}

}  // namespace zeqcam::tool
