#pragma once

#include <zeqcam/ThreadSafety.h>

#include <cstdint>
#include <mutex>
#include <ostream>
#include <streambuf>

namespace zeqcam::tool {

// Passes log lines on to a stream until it is closed: the threads of a run that was cut off go on logging,
// and the stream is then the report's. Thread-safe. Of a simulated run, whose lines are the same in every
// run, it passes no addresses on.
class LogOutput final : public std::streambuf {
  public:
    enum class Addresses : std::uint8_t { Shown, Hidden };

    LogOutput(std::ostream& out, Addresses addresses) : mOut(out), mAddresses(addresses) {}

    void close();

  protected:
    std::streamsize xsputn(char const* text, std::streamsize size) override;
    int_type overflow(int_type character) override;

  private:
    std::mutex mLock;
    bool mOpen ZEQCAM_GUARDED_BY(mLock) = true;
    std::ostream& mOut;
    Addresses const mAddresses;
};

}  // namespace zeqcam::tool
