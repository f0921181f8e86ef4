#include "views/ChainView.h"

#include "text/Printable.h"
#include "text/TextWidth.h"
#include "text/TimeText.h"
#include "views/ChainText.h"
#include "views/RequestText.h"
#include "views/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace zeqcam::tool {
namespace {

using nlohmann::ordered_json;
using std::chrono::nanoseconds;

// Links that follow one another, of which a reader is told together.
struct Told {
    std::vector<Link const*> links;

    [[nodiscard]] nanoseconds time() const { return links.back()->end - links.front()->begin; }
};

// A link on its own, and what is short between two such together.
std::vector<Told> toldOf(Chain const& chain, bool full) {
    constexpr int kShare = 50;  // of the request: a fiftieth is short
    std::vector<Told> told;
    bool wasShort = false;
    for (Link const& link : chain.links) {
        bool const isShort = !full && link.time() * kShare < chain.time();
        if (isShort && wasShort) {
            told.back().links.push_back(&link);
        } else {
            told.push_back({{&link}});
        }
        wasShort = isShort;
    }
    return told;
}

std::string textOf(Record const& record, Told const& told) {
    if (told.links.size() > 1) return fmt::format("{} short links", told.links.size());
    Link const& link = *told.links.front();
    std::string text = linkText(record, link);
    if (link.withoutProcessor.value_or(nanoseconds(0)) >= std::chrono::microseconds(50))
        text += fmt::format(", {} of it without a processor", millisecondsText(*link.withoutProcessor));
    return text;
}

class Tree {
  public:
    Tree(Record const& record, std::vector<Chain> const& chains, Presentation const& presentation,
         std::ostream& out)
        : mRecord(record), mChains(chains), mPresentation(presentation), mOut(out) {}

    void write(Chain const& chain) const {
        Ink const ink{mPresentation.colours};
        Request const& request = mRecord.requests[chain.request];
        line(ink.bold(cut(printable(fmt::format(
            "{}: {}, {} ms{}, from {} on", mRecord.textOf(mRecord.clients[request.client].name),
            requestPhrase(mRecord, request), millisecondsText(chain.time()),
            chain.isOpen ? " and not ended" : "", millisecondsText(chain.begin - mRecord.begin))))));
        auto const told = toldOf(chain, mPresentation.full);
        for (Told const& each : told) {
            bool const isLast = &each == &told.back();
            bool const isSlowest = chain.slowest && each.links.front() == &chain.links[*chain.slowest];
            std::string const text =
                cut(fmt::format("{} @{:<7} +{:<7} {}", branch(isLast),
                                millisecondsText(each.links.front()->begin - mRecord.begin),
                                millisecondsText(each.time()), printable(textOf(mRecord, each))));
            line(isSlowest ? ink.red(text) : text);
            if (each.links.size() == 1) writeOther(*each.links.front(), stem(isLast) + "   ", 1);
        }
        if (std::string const text = withoutText(mRecord, chain); !text.empty())
            line("   " + printable(text));
        for (Retry const& retry : chain.retries) line("   " + printable(retryText(mRecord, retry)));
    }

  private:
    // What the request that kept a link was itself waiting for meanwhile.
    void writeOther(Link const& link, std::string const& before, int depth) const {
        constexpr int kDeepest = 4;
        if (!link.other || depth > kDeepest || link.is == Link::Is::PowerOnLock) return;
        for (Link const& each : mChains[*link.other].links) {
            auto const time = std::min(each.end, link.end) - std::max(each.begin, link.begin);
            if (time < std::chrono::microseconds(50)) continue;
            line(cut(fmt::format("{}@{:<7} +{:<7} {}", before,
                                 millisecondsText(std::max(each.begin, link.begin) - mRecord.begin),
                                 millisecondsText(time), printable(linkText(mRecord, each)))));
            writeOther(each, before + "   ", depth + 1);
        }
    }

    [[nodiscard]] std::string branch(bool isLast) const {
        if (mPresentation.glyphs == Glyphs::Ascii) return isLast ? "`-" : "|-";
        return isLast ? "└─" : "├─";
    }
    [[nodiscard]] std::string stem(bool isLast) const {
        if (isLast) return "  ";
        return mPresentation.glyphs == Glyphs::Ascii ? "| " : "│ ";
    }
    [[nodiscard]] std::string cut(std::string const& text) const {
        return shortened(text, std::max(mPresentation.columns, 1), "~");
    }
    void line(std::string const& text) const { mOut << text << '\n'; }

    Record const& mRecord;
    std::vector<Chain> const& mChains;
    Presentation const& mPresentation;
    std::ostream& mOut;
};

ordered_json requestJson(Record const& record, std::uint32_t index) {
    Request const& request = record.requests[index];
    return {{"client", record.textOf(record.clients[request.client].name)},
            {"request", record.textOf(request.name)},
            {"sensors", sensorsOf(request)},
            {"began_ms", millisecondsOf(request.began - record.begin)}};
}

ordered_json linkJson(Record const& record, Link const& link) {
    ordered_json json{{"at_ms", millisecondsOf(link.begin - record.begin)},
                      {"ms", millisecondsOf(link.time())},
                      {"kind", kindOf(link)},
                      {"what", linkText(record, link)},
                      {"sensor", link.done.sensor ? ordered_json(*link.done.sensor) : ordered_json()}};
    if (link.other) json["kept_by"] = requestJson(record, *link.other);
    if (link.isRetry) json["retry"] = true;
    if (link.withoutProcessor) json["without_processor_ms"] = millisecondsOf(*link.withoutProcessor);
    return json;
}

}  // namespace

void writeChain(Record const& record, std::vector<Chain> const& chains, Chain const& chain,
                Presentation const& presentation, std::ostream& out) {
    Tree(record, chains, presentation, out).write(chain);
}

ordered_json chainJson(Record const& record, Chain const& chain) {
    ordered_json json = requestJson(record, chain.request);
    json["ms"] = millisecondsOf(chain.time());
    json["ended"] = !chain.isOpen;
    json["line"] = chainLine(record, chain);
    json["slowest"] = chain.slowest ? ordered_json(*chain.slowest) : ordered_json();
    json["without_slowest_ms"] =
        chain.slowest && !chain.isOpen ? ordered_json(millisecondsOf(chain.without.time)) : ordered_json();
    json["links"] = ordered_json::array();
    for (Link const& link : chain.links) json["links"].push_back(linkJson(record, link));
    json["retries"] = ordered_json::array();
    for (Retry const& retry : chain.retries) {
        json["retries"].push_back(
            {{"sensor", retry.sensor},
             {"failed_after_ms", millisecondsOf(retry.failedAfter)},
             {"retry", retry.request ? requestJson(record, *retry.request) : ordered_json()},
             {"retry_ms", retry.took ? ordered_json(millisecondsOf(*retry.took)) : ordered_json()}});
    }
    return json;
}

}  // namespace zeqcam::tool
