#pragma once

#include <zeqcam/platform/Visibility.h>

#include <cstdint>

namespace NSCam::Utils::ULog {

// The unified logger and the process-wide controls of all camera logging.
class ZEQCAM_PLATFORM_API ULogger {
  public:
    virtual void reserved0() {}
    virtual void reserved1() {}
    virtual void reserved2() {}
    // Records one line. `length` is the length before `text` was cut to fit: it may exceed the text.
    virtual void text(std::uint32_t module, char const* tag, std::uint32_t level, char const* text,
                      std::uint32_t length) = 0;

    static std::uint32_t sDetailsLevel;
    static std::uint32_t sNormalDetailsMask;
    static std::uint32_t sMode;
    static ULogger* sULogger;

  protected:
    ~ULogger() = default;
};

}  // namespace NSCam::Utils::ULog
