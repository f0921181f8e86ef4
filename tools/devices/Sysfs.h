#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace zeqcam::tool {

// The kernel's tree of devices. A test gives one of its own, laid out alike.
class Sysfs {
  public:
    explicit Sysfs(std::filesystem::path root = "/sys") : mRoot(std::move(root)) {}

    // Where what people call `path`, such as "/sys/bus/usb/devices/1-1", stands in this tree, not yet
    // resolved.
    [[nodiscard]] std::filesystem::path place(std::string const& path) const;
    // What people call a file of this tree.
    [[nodiscard]] std::string nameOf(std::filesystem::path const& place) const;
    // The device's folder behind all symbolic links. Throws std::runtime_error with the reason where there is
    // none or where that is no folder of devices.
    [[nodiscard]] std::filesystem::path resolve(std::string const& path) const;

  private:
    std::filesystem::path mRoot;
};

// The first line of a small file, or none where that cannot be read.
std::optional<std::string> firstLine(std::filesystem::path const& file);

}  // namespace zeqcam::tool
