#include "devices/Sysfs.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace zeqcam::tool {
namespace {

constexpr std::string_view kName = "/sys";

bool isInside(std::filesystem::path const& place, std::filesystem::path const& folder) {
    auto const [end, at] = std::mismatch(folder.begin(), folder.end(), place.begin(), place.end());
    return end == folder.end() && at != place.end();
}

}  // namespace

std::filesystem::path Sysfs::place(std::string const& path) const {
    bool const isOfSysfs = path == kName || path.starts_with(std::string(kName) + '/');
    return isOfSysfs ? mRoot.string() + path.substr(kName.size()) : path;
}

std::string Sysfs::nameOf(std::filesystem::path const& place) const {
    return isInside(place, mRoot) ? std::string(kName) + place.string().substr(mRoot.string().size())
                                  : place.string();
}

std::filesystem::path Sysfs::resolve(std::string const& path) const {
    std::error_code error;
    std::filesystem::path real = std::filesystem::canonical(place(path), error);
    if (error == std::errc::no_such_file_or_directory) throw std::runtime_error("there is no such device");
    if (error) throw std::runtime_error(error.message());
    if (!isInside(real, std::filesystem::canonical(mRoot) / "devices"))
        throw std::runtime_error("no device: " + nameOf(real) + " is not in /sys/devices");
    if (!std::filesystem::is_directory(real)) throw std::runtime_error("a file of a device, not its folder");
    return real;
}

std::optional<std::string> firstLine(std::filesystem::path const& file) {
    std::string line;
    if (!std::getline(std::ifstream(file), line)) return {};
    return line;
}

}  // namespace zeqcam::tool
