#include "analysis/Chain.h"

#include "analysis/ChainParts.h"
#include "analysis/ControllerUse.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

namespace zeqcam::tool {
namespace {

using board::Kind;

// A request's thread goes on between these, whatever others do for it meanwhile.
constexpr KindSet kGoesOn{Kind::TaskPost,      Kind::TaskSetFuture,  Kind::SensorCreate,
                          Kind::SensorListGet, Kind::PowerBudgetGet, Kind::PowerBudget};

bool isOfOneKind(Link const& left, Link const& right) {
    auto const all = [](Link const& link) {
        return std::tuple(link.is, link.done.what, link.done.sensor, link.isRetry, link.thread);
    };
    return all(left) == all(right) && left.other == right.other;
}

// The record's end, while the request has not ended.
Instant endSeen(Record const& record, std::uint32_t request) {
    Request const& asked = record.requests[request];
    return std::max(asked.ended.value_or(record.end), asked.began);
}

// Walks from a request's end back to its begin.
class Walk {
  public:
    Walk(ChainParts const& parts, std::uint32_t request)
        : mParts(parts),
          mRecord(parts.record()),
          mAsked(parts.asked(request)),
          mCursor(endSeen(mRecord, request)) {
        Request const& asked = mRecord.requests[request];
        mChain.request = request;
        mChain.begin = asked.began;
        mChain.isOpen = !asked.ended;
        mChain.end = mCursor;
        mChain.retries = parts.retries(request);
    }

    Chain chain() {
        walk();
        std::reverse(mChain.links.begin(), mChain.links.end());
        for (Link& link : mChain.links)
            link.withoutProcessor = mParts.withoutProcessor(link.thread, link.begin, link.end);
        weigh();
        return std::move(mChain);
    }

  private:
    void walk() {
        Request const& request = mRecord.requests[mChain.request];
        if (request.kind == RequestKind::Sleep) return add(linkOf(Link::Is::Sleep), mChain.begin);
        if (mAsked.events.empty()) return add(unknown(), mChain.begin);
        mThread = mRecord.events[mAsked.events.front()].thread;
        if (request.kind == RequestKind::Wait) return walkWait();
        bool const waits = needsController(request.kind);
        std::size_t const first = waits ? mAsked.firstWork.value_or(mAsked.events.size()) : 0;
        if (first < mAsked.events.size()) {
            std::size_t at = walkEnd();
            while (at > first) at = walkBack(at);
        }
        if (waits) walkController();
    }

    // Returns the place among the request's own events from which on the rest is to be walked.
    std::size_t walkEnd() {
        auto const& events = mAsked.events;
        std::uint32_t const last = events.back();
        if (!mChain.isOpen) {
            add(linkOf(mRecord.events[last].kind == Kind::Reply ? Done{} : mParts.doings().after[mThread],
                       mThread),
                mParts.timeOf(last));
            return events.size() - 1;
        }
        // What has been at it for the longest is what all else waits for.
        std::optional<std::size_t> stuck;
        for (std::size_t const work : mAsked.works) {
            Work const& each = mParts.works()[work];
            if (each.hasEnded || each.events.back() < last) continue;
            if (!stuck || each.events.back() < mParts.works()[*stuck].events.back()) stuck = work;
        }
        if (stuck) {
            Work const& work = mParts.works()[*stuck];
            add(linkOf(mParts.doings().after[work.thread], work.thread), mParts.timeOf(work.events.back()));
            return walkWork(*stuck, work.events.size() - 1);
        }
        if (auto const other = lastOfOthers(last, static_cast<std::uint32_t>(mRecord.events.size())))
            return walkFrom(*other);
        add(linkOf(mParts.doings().after[mThread], mThread), mParts.timeOf(last));
        return events.size() - 1;
    }

    std::size_t walkBack(std::size_t at) {
        std::uint32_t const event = mAsked.events[at];
        std::uint32_t const before = mAsked.events[at - 1];
        if (!kGoesOn.contains(mRecord.events[event].kind)) {
            if (auto const other = lastOfOthers(before, event)) return walkFrom(*other);
        }
        add(linkOf(mParts.doings().before[event], mThread), mParts.timeOf(before));
        return at - 1;
    }

    struct OfOther {
        std::size_t work;
        std::size_t place;  // in its events
    };

    // The last event of the request's works between two of its own.
    [[nodiscard]] std::optional<OfOther> lastOfOthers(std::uint32_t after, std::uint32_t before) const {
        std::optional<OfOther> last;
        std::uint32_t latest = after;
        for (std::size_t const work : mAsked.works) {
            auto const& events = mParts.works()[work].events;
            auto const next = std::lower_bound(events.begin(), events.end(), before);
            if (next == events.begin() || *std::prev(next) <= latest) continue;
            latest = *std::prev(next);
            last = OfOther{work, static_cast<std::size_t>(next - events.begin()) - 1};
        }
        return last;
    }

    std::size_t walkFrom(OfOther const& other) {
        Work const& work = mParts.works()[other.work];
        Link const back = linkOf(Link::Is::Return);
        std::uint32_t const event = work.events[other.place];
        // Work whose end was not seen may have gone on for all that time.
        bool const isLast = other.place + 1 == work.events.size();
        bool const goesOn = isLast && !work.hasEnded;
        add(goesOn ? linkOf(mParts.doings().after[work.thread], work.thread) : back, mParts.timeOf(event));
        return walkWork(other.work, other.place);
    }

    // Back to where the work was asked for, by way of the tasks that its queue was at.
    std::size_t walkWork(std::size_t index, std::size_t place) {
        for (;;) {
            Work const& work = mParts.works()[index];
            mPath.insert(index);
            if (!mLastWork) mLastWork = index;
            for (; place > 0; --place) {
                add(linkOf(mParts.doings().before[work.events[place]], work.thread),
                    mParts.timeOf(work.events[place - 1]));
            }
            auto const next =
                std::lower_bound(mAsked.events.begin(), mAsked.events.end(), work.events.front());
            auto const asked = static_cast<std::size_t>(next - mAsked.events.begin());
            std::size_t const from = asked > 0 ? asked - 1 : 0;
            Link start = linkOf(work.powersOn ? Link::Is::Start : Link::Is::Queue);
            start.done.sensor = work.sensor;
            start.thread = work.thread;
            auto const before = work.powersOn ? std::nullopt : mParts.workBefore(index, mAsked.events[from]);
            if (before) {
                Work const& other = mParts.works()[*before];
                add(start, mParts.timeOf(other.events.back()));
                if (other.request == mChain.request) {
                    index = *before;
                    place = other.events.size() - 1;
                    continue;
                }
                start.other = other.request;
            }
            add(start, mParts.timeOf(mAsked.events[from]));
            return from;
        }
    }

    // From its first work back to its begin: others may have kept its controller meanwhile.
    void walkController() {
        auto const kept = mParts.keptBetween(mChain.request, mChain.begin, mCursor);
        bool const isKnown = mRecord.clients[mRecord.requests[mChain.request].client].controller.has_value();
        Link const self = isKnown ? linkOf(Done{}, mThread) : unknown();
        for (auto keeping = kept.rbegin(); keeping != kept.rend(); ++keeping) {
            add(self, keeping->until);
            Link wait = linkOf(Link::Is::Controller);
            wait.other = keeping->request;
            add(wait, keeping->since);
        }
        add(self, mChain.begin);
    }

    // Only the hold that it finds: a power-on that takes the lock after a release keeps no waiter.
    void walkWait() {
        Link wait = linkOf(Link::Is::PowerOnLock);
        auto const hold = mParts.lockHeldAt(mChain.begin);
        bool const isKnown = mRecord.clients[mRecord.requests[mChain.request].client].controller.has_value();
        if (hold) {
            add(linkOf(Link::Is::Return), hold->until.value_or(mChain.end));
            wait.other = hold->request;
        }
        add(hold || !isKnown ? wait : linkOf(Done{}, mThread), mChain.begin);
    }

    [[nodiscard]] Link linkOf(Done const& done, std::uint32_t thread) const {
        Link link;
        link.done = done;
        link.thread = thread;
        link.isRetry =
            done.what == Doing::SensorOn && done.sensor && mParts.isRetry(mChain.request, *done.sensor);
        return link;
    }

    [[nodiscard]] Link linkOf(Link::Is is) const {
        Link link;
        link.is = is;
        link.thread = mThread;
        return link;
    }

    [[nodiscard]] Link unknown() const { return linkOf({Doing::Unknown, {}}, mThread); }

    // From `from` to where the walk has come.
    void add(Link link, Instant from) {
        from = std::max(from, mChain.begin);
        if (from >= mCursor) return;
        link.begin = from;
        link.end = mCursor;
        mCursor = from;
        auto& links = mChain.links;
        if (!links.empty() && isOfOneKind(links.back(), link)) {
            links.back().begin = from;
        } else {
            links.push_back(link);
        }
    }

    void weigh() {
        auto const& links = mChain.links;
        if (links.empty()) return;
        auto const slowest = std::max_element(
            links.begin(), links.end(), [](Link const& a, Link const& b) { return a.time() < b.time(); });
        mChain.slowest = static_cast<std::size_t>(slowest - links.begin());
        auto saved = slowest->time();
        if (mLastWork && isIn(mParts.works()[*mLastWork], *slowest)) {
            if (auto const next = lastBeside()) {
                Work const& work = mParts.works()[*next];
                auto const ahead =
                    std::max(endOf(mParts.works()[*mLastWork]) - endOf(work), std::chrono::nanoseconds(0));
                if (ahead < saved) mChain.without.sensor = work.sensor;
                saved = std::min(saved, ahead);
            }
        }
        mChain.without.time = mChain.time() - saved;
    }

    [[nodiscard]] Instant endOf(Work const& work) const {
        return work.hasEnded ? mParts.timeOf(work.events.back()) : mChain.end;
    }

    [[nodiscard]] bool isIn(Work const& work, Link const& link) const {
        return link.thread == work.thread && link.is != Link::Is::Return && link.end <= endOf(work);
    }

    // The work beside those that the request waited for which ended last.
    [[nodiscard]] std::optional<std::size_t> lastBeside() const {
        std::optional<std::size_t> last;
        for (std::size_t const work : mAsked.works) {
            if (mPath.contains(work)) continue;
            if (!last || endOf(mParts.works()[work]) > endOf(mParts.works()[*last])) last = work;
        }
        return last;
    }

    ChainParts const& mParts;
    Record const& mRecord;
    ChainParts::Asked const& mAsked;
    Chain mChain;
    Instant mCursor;
    std::uint32_t mThread = 0;
    std::optional<std::size_t> mLastWork;
    std::set<std::size_t> mPath;  // the works that it waited for
};

}  // namespace

std::string_view kindOf(Link const& link) {
    switch (link.is) {
        case Link::Is::Doing:
            return kindOf(link.done.what);
        case Link::Is::PowerOnLock:
            return "power-on lock";
        case Link::Is::Controller:
            return "controller";
        case Link::Is::Start:
            return "worker start";
        case Link::Is::Queue:
            return "queue";
        case Link::Is::Return:
            return "return";
        case Link::Is::Sleep:
            return "sleep";
    }
    return "?";
}

std::vector<Chain> chainsOf(Record const& record) {
    ChainParts const parts(record);
    std::vector<Chain> chains;
    chains.reserve(record.requests.size());
    for (std::uint32_t request = 0; request < record.requests.size(); ++request)
        chains.push_back(Walk(parts, request).chain());
    return chains;
}

}  // namespace zeqcam::tool
