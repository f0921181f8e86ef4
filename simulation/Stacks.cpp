#include "Stacks.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace zeqcam::simulation {
namespace {

std::string demangled(char const* symbol) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(abi::__cxa_demangle(symbol, nullptr, nullptr, &status),
                                                      std::free);
    return name ? name.get() : symbol;
}

std::string fileOf(Dl_info const& info) {
    std::string const path = info.dli_fname != nullptr ? info.dli_fname : "?";
    return path.substr(path.rfind('/') + 1);
}

std::string hex(std::uintptr_t number) {
    char text[2 * sizeof number + 3] = {};
    std::snprintf(text, sizeof text, "0x%jx", static_cast<std::uintmax_t>(number));
    return text;
}

std::uintptr_t distance(void const* from, void const* to) {
    return reinterpret_cast<std::uintptr_t>(to) - reinterpret_cast<std::uintptr_t>(from);
}

// A symbol and its file where there is one, else the place in the file, which a debugger or addr2line reads.
std::string placeOf(void const* address) {
    Dl_info info{};
    if (dladdr(address, &info) == 0) return hex(reinterpret_cast<std::uintptr_t>(address));
    if (info.dli_sname == nullptr) return fileOf(info) + '+' + hex(distance(info.dli_fbase, address));
    std::uintptr_t const offset = distance(info.dli_saddr, address);
    return demangled(info.dli_sname) + (offset != 0 ? '+' + hex(offset) : "") + " (" + fileOf(info) + ')';
}

void const* ownBase() {
    Dl_info info{};
    dladdr(reinterpret_cast<void const*>(&takeStack), &info);
    return info.dli_fbase;
}

}  // namespace

void prepareStacks() {
    static bool isPrepared = false;
    void* frame = nullptr;
    if (!std::exchange(isPrepared, true)) backtrace(&frame, 1);
}

void takeStack(Thread& thread) {
    Outside const outside;
    thread.depth = backtrace(thread.frames.data(), static_cast<int>(thread.frames.size()));
}

std::string nameOf(Thread const& thread) {
    char name[32] = "ended";
    if (!thread.ended) pthread_getname_np(thread.handle, name, sizeof name);
    return name;
}

std::string describe(Step const& step) {
    std::string text = step.what;
    if (step.target != nullptr) return text + " of thread " + std::to_string(step.target->number);
    if (step.object != nullptr) text += ' ' + placeOf(step.object);
    if (step.until == Until::WokenFree && step.lock != nullptr)
        text += ", then the mutex " + placeOf(step.lock);
    return text;
}

std::string sectionsOf(Thread const& thread) {
    std::string text;
    for (OwnString const& label : thread.sections) {
        text += text.empty() ? "    in " : " > ";
        text += label.c_str();
    }
    return text.empty() ? text : text + '\n';
}

std::string stackOf(Thread const& thread) {
    void const* const own = ownBase();
    std::string text;
    for (int i = 0; i < thread.depth; ++i) {
        void const* const frame = thread.frames[static_cast<std::size_t>(i)];
        Dl_info info{};
        if (dladdr(frame, &info) != 0 && info.dli_fbase == own) continue;
        text += "    at " + placeOf(frame) + '\n';
    }
    return text;
}

}  // namespace zeqcam::simulation
