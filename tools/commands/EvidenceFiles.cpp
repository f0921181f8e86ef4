#include "commands/EvidenceFiles.h"

#include "commands/Command.h"
#include "commands/ProgressLine.h"
#include "evidence/Reading.h"
#include "files/OutputFile.h"
#include "run/Watch.h"
#include "text/Printable.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <memory>
#include <system_error>
#include <utility>

namespace zeqcam::tool {
namespace {

std::string progressText(std::string const& path, std::uint64_t bytes) {
    return path + ": " + std::to_string(bytes / (1U << 20U)) + " MiB";
}

// A file that goes on until it ends, or until the user ends that: then what was read is all that there is.
class FollowedSource final : public ByteSource {
  public:
    // The file stays open meanwhile.
    explicit FollowedSource(int file) : mFile(file), mSource(file) {}

    std::size_t read(char* into, std::size_t most) override {
        mIsEnded = mIsEnded || !mWatch.waitForInput(mFile);
        return mIsEnded ? 0 : mSource.read(into, most);
    }

  private:
    int mFile;
    DescriptorSource mSource;
    Watch mWatch;
    bool mIsEnded = false;
};

std::unique_ptr<ByteSource> sourceOf(int file, bool isFollowed) {
    if (isFollowed) return std::make_unique<FollowedSource>(file);
    return std::make_unique<DescriptorSource>(file);
}

}  // namespace

Evidence readFiles(std::vector<std::string> const& paths, ProcessRecords& records, bool isFollowed) {
    if (std::count(paths.begin(), paths.end(), "-") > 1)
        throw CannotOpen("-: the standard input is there once");
    Evidence evidence;
    for (std::size_t index = 0; index < paths.size(); ++index) {
        std::string const& path = paths[index];
        Descriptor const file(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (file.get() < 0) throw CannotOpen(path + ": cannot be opened: " + std::strerror(errno));
        auto const source = sourceOf(file.get(), isFollowed);
        ProgressLine progress;
        ReadResult const result = [&] {
            try {
                return readEvidence(*source, static_cast<std::uint16_t>(index), ProcessRecords::wanted(),
                                    records, [&](std::uint64_t bytes) {
                                        if (!isFollowed)
                                            progress.show([&] { return progressText(path, bytes); });
                                    });
            } catch (std::system_error const& error) {
                throw CannotOpen(path + ": cannot be read: " + error.code().message());
            }
        }();
        evidence.files.push_back({path == "-" ? "standard input" : path, result.isWallTimeKnown});
        if (result.format == Format::Unknown) evidence.found.push_back(path + ": " + result.found);
    }
    return evidence;
}

std::vector<std::string> nothingIn(Evidence const& evidence, std::vector<std::string> const& paths,
                                   std::optional<int> process) {
    if (!evidence.found.empty()) return evidence.found;
    if (process) return {fmt::format("no line or section of the library by process {}", *process)};
    return {"no line or section of the library in " + paths.front() +
            (paths.size() > 1 ? " and the others" : "") +
            "; docs/read.md says how a phone is asked for them"};
}

}  // namespace zeqcam::tool
