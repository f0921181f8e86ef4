#pragma once

#include <string>
#include <vector>

namespace zeqcam::tests {

struct Ran {
    int status;  // -1: it was ended otherwise
    std::string output;
};

constexpr int kNoSignal = 0;

// What a shell makes of a command. The signal is sent to the tool when it has logged that a power-on has
// begun.
Ran runCommand(std::string const& command, int signal = kNoSignal);

// The tool, with its arguments as a shell reads them.
Ran runTool(std::string const& arguments, std::string const& errorsTo = "&1", int signal = kNoSignal);

// The tool's run of a scenario of this text.
Ran runScenario(std::string const& text, std::string const& options = {}, std::string const& errorsTo = "&1",
                int signal = kNoSignal);

// The process that wrote a log line, which begins with the date, the time, and the ids of process and thread.
int loggedProcess(std::string const& line);

// What an XML reader finds in a file by an XPath; empty when it finds the file broken.
std::string readByXml(std::string const& file, std::string const& path);

// A file of this process that goes with the test.
class TemporaryFile {
  public:
    explicit TemporaryFile(std::string const& ending, std::string const& text = {});
    ~TemporaryFile();
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;

    [[nodiscard]] std::string text() const;

    std::string const path;
};

// A folder that goes with the test.
class Folder {
  public:
    Folder();
    ~Folder();
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;

    [[nodiscard]] std::string const& path() const { return mPath; }
    [[nodiscard]] std::string path(std::string const& name) const { return mPath + '/' + name; }
    // Returns its path.
    std::string put(std::string const& name, std::string const& text) const;
    [[nodiscard]] std::string text(std::string const& name) const;
    [[nodiscard]] std::vector<std::string> names() const;  // of what it holds

  private:
    std::string mPath;
};

}  // namespace zeqcam::tests
