#include "commands/Outputs.h"

#include "commands/Command.h"

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

namespace zeqcam::tool {
namespace {

// A slip of the command line must not cost a file.
void requireApart(std::string const& output, std::string const& other) {
    namespace files = std::filesystem;
    std::error_code none;
    bool const isDevice = files::exists(output, none) && !files::is_regular_file(output, none);
    bool const isSame =
        files::equivalent(output, other, none) || files::weakly_canonical(files::absolute(output), none) ==
                                                      files::weakly_canonical(files::absolute(other), none);
    if (isSame && !isDevice) throw CannotOpen(output + ": would replace " + other);
}

}  // namespace

Outputs::Outputs() {
    for (View const& view : fileViews()) mOutputs.push_back({&view});
}

Outputs::Outputs(std::vector<std::string_view> const& options) {
    for (View const& view : fileViews()) {
        if (std::find(options.begin(), options.end(), view.option) != options.end())
            mOutputs.push_back({&view});
    }
}

void Outputs::addOptions(CLI::App& app) {
    for (Output& output : mOutputs) {
        app.add_option("--" + std::string(output.view->option), output.path, std::string(output.view->help))
            ->type_name("FILE")
            ->check([](std::string const& path) { return path.empty() ? "a file needs a name" : ""; });
    }
}

void Outputs::open(std::vector<std::string> const& inputs, bool outputIsTaken) {
    for (auto output = mOutputs.begin(); output != mOutputs.end(); ++output) {
        std::string const& path = output->path;
        if (path.empty()) continue;
        output->toOutput = path == "-" || isOpenAs(path, STDOUT_FILENO);
        if (output->toOutput) {
            if (std::exchange(outputIsTaken, true))
                throw CannotOpen(path + ": something else goes to the standard output");
            continue;
        }
        if (isOpenAs(path, STDERR_FILENO)) throw CannotOpen(path + ": messages go to the standard error");
        for (std::string const& input : inputs) requireApart(path, input);
        for (auto other = mOutputs.begin(); other != output; ++other) {
            if (other->file) requireApart(path, other->path);
        }
        output->file.emplace(path);
    }
}

void Outputs::requireSeriesViews() const {
    for (Output const& output : mOutputs) {
        if (!output.path.empty() && output.view->writeSeries == nullptr)
            throw CannotOpen("--" + std::string(output.view->option) + ": is of one run");
    }
}

bool Outputs::areAsked() const {
    return std::any_of(mOutputs.begin(), mOutputs.end(),
                       [](Output const& output) { return !output.path.empty(); });
}

bool Outputs::takeOutput() const {
    return std::any_of(mOutputs.begin(), mOutputs.end(),
                       [](Output const& output) { return output.toOutput; });
}

template <class Write>
bool Outputs::writeEach(Write const& write) {
    bool all = true;
    for (Output& output : mOutputs) {
        try {
            auto const fill = [&](std::ostream& out) { write(*output.view, out); };
            if (output.toOutput) fill(std::cout);
            if (output.file) output.file->write(fill);
        } catch (std::exception const& error) {
            complain(error.what());
            all = false;
        }
    }
    return all;
}

bool Outputs::write(Record const& record, Presentation const& presentation) {
    return writeEach([&](View const& view, std::ostream& out) { view.write(record, presentation, out); });
}

bool Outputs::write(Series const& series, Presentation const& presentation) {
    return writeEach(
        [&](View const& view, std::ostream& out) { view.writeSeries(series, presentation, out); });
}

bool Outputs::write(std::function<void(std::ostream& out)> const& fill) {
    return writeEach([&](View const&, std::ostream& out) { fill(out); });
}

bool Outputs::write(std::function<void(View const& view, std::ostream& out)> const& fill) {
    return writeEach(fill);
}

}  // namespace zeqcam::tool
