#pragma once

#include <zeqcam/ThreadSafety.h>

#include <mutex>
#include <ostream>
#include <streambuf>

namespace zeqcam::tool {

// Passes log lines on to a stream until it is closed: the threads of a run that was cut off go on logging,
// and the stream is then the report's. Thread-safe.
class LogOutput final : public std::streambuf {
  public:
    explicit LogOutput(std::ostream& out) : mOut(out) {}

    void close();

  protected:
    std::streamsize xsputn(char const* text, std::streamsize size) override;
    int_type overflow(int_type character) override;

  private:
    std::mutex mLock;
    bool mOpen ZEQCAM_GUARDED_BY(mLock) = true;
    std::ostream& mOut;
};

}  // namespace zeqcam::tool
