#include "devices/RuntimePower.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

namespace zeqcam::tool {
namespace {

constexpr char const* kControl = "control";
constexpr char const* kDelay = "autosuspend_delay_ms";

// Names the file where something else than the device's absence is the reason.
class AttributeError : public std::system_error {
  public:
    AttributeError(int error, char const* attribute)
        : std::system_error(error, std::generic_category()),
          mText(isGone(code()) ? "the device is gone"
                               : "power/" + std::string(attribute) + ": " + code().message()) {}

    [[nodiscard]] char const* what() const noexcept override { return mText.c_str(); }

  private:
    std::string mText;
};

Descriptor openAttribute(Descriptor const& folder, char const* attribute, int flags) {
    Descriptor file(openat(folder.get(), attribute, flags | O_CLOEXEC));
    if (file.get() < 0) throw AttributeError(errno, attribute);
    return file;
}

}  // namespace

RuntimePower::RuntimePower(std::filesystem::path const& device)
    : mFolder(openat(AT_FDCWD, (device / "power").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    bool const hasFolder = mFolder.get() >= 0;
    bool const hasPolicy = hasFolder && faccessat(mFolder.get(), kControl, F_OK, 0) == 0 &&
                           faccessat(mFolder.get(), "runtime_status", F_OK, 0) == 0;
    if (!hasPolicy) throw std::runtime_error("it has no runtime power management");
    if (std::string const state = status(); state == "unsupported" || state == "forbidden")
        throw std::runtime_error("it has no runtime power management: power/runtime_status is " + state);
    requireWritable(kControl);
    if (policy().delay) requireWritable(kDelay);
}

void RuntimePower::requireWritable(char const* attribute) const {
    static_cast<void>(openAttribute(mFolder, attribute, O_WRONLY));
}

RuntimePower::Policy RuntimePower::policy() const {
    Policy policy{.control = read(kControl)};
    try {
        policy.delay = read(kDelay);
    } catch (AttributeError const& error) {
        // So the kernel answers where the device's driver asks for no delay.
        bool const hasNone = error.code() == std::errc::io_error || isGone(error.code());
        if (!hasNone) throw;
    }
    return policy;
}

void RuntimePower::setPolicy(Policy const& policy) const {
    if (policy.delay) write(kDelay, *policy.delay);
    write(kControl, policy.control);
}

bool RuntimePower::isForbidden() const {
    if (faccessat(mFolder.get(), "runtime_enabled", R_OK, 0) != 0) return false;
    return read("runtime_enabled").find("forbidden") != std::string::npos;
}

std::string RuntimePower::read(char const* attribute) const {
    Descriptor const file = openAttribute(mFolder, attribute, O_RDONLY);
    std::array<char, 256> text{};
    ssize_t const size = ::read(file.get(), text.data(), text.size());
    if (size < 0) throw AttributeError(errno, attribute);
    std::string_view const whole(text.data(), static_cast<std::size_t>(size));
    return std::string(whole.substr(0, whole.find('\n')));
}

void RuntimePower::write(char const* attribute, std::string const& value) const {
    Descriptor const file = openAttribute(mFolder, attribute, O_WRONLY | O_TRUNC);
    if (::write(file.get(), value.data(), value.size()) < 0) throw AttributeError(errno, attribute);
}

bool isGone(std::error_code error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::no_such_device ||
           error == std::errc::no_such_device_or_address;
}

}  // namespace zeqcam::tool
