// What RecordMaker makes of all that it has seen: the record.
#include "evidence/RecordMaker.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zeqcam::tool {

using board::Kind;

std::string RecordMaker::nameOfClient(std::int32_t thread) const {
    auto const name = mNames.find(thread);
    return name != mNames.end() ? std::string(mRecord.textOf(name->second))
                                : "thread " + std::to_string(thread);
}

std::string RecordMaker::nameOfClient(Draft const& draft) const {
    return draft.client != TextId::Empty ? std::string(mRecord.textOf(draft.client))
                                         : nameOfClient(draft.thread);
}

void RecordMaker::makeClients() {
    std::map<std::pair<std::int32_t, TextId>, std::uint32_t> clients;
    std::set<std::string> names;
    for (Draft& draft : mDrafts) {
        auto const [client, isNew] = clients.emplace(std::pair(draft.thread, draft.client),
                                                     static_cast<std::uint32_t>(mRecord.clients.size()));
        if (isNew) {
            std::string name = nameOfClient(draft);
            if (!names.insert(name).second) {
                name += " (" + std::to_string(draft.thread) + ')';
                names.insert(name);
            }
            mRecord.clients.push_back({.name = mRecord.texts.add(name)});
            mRecord.clients.back().thread = threadOf(draft.thread).index;
        }
        draft.request.client = client->second;
        mRecord.requests.push_back(std::move(draft.request));
    }
}

void RecordMaker::takeEvents() {
    std::stable_sort(mEvents.begin(), mEvents.end(),
                     [](Ordered const& left, Ordered const& right) { return left.order < right.order; });
    mRecord.events.reserve(mEvents.size());
    for (Ordered& each : mEvents) {
        Event& event = mRecord.events.emplace_back(each.event);
        if (event.kind == Kind::Request || event.kind == Kind::Reply)
            event.text = mRecord.clients[mRecord.requests[*event.request].client].name;
    }
}

// Threads that a thread of ours has started, and that have told nothing since, are not the library's.
void RecordMaker::dropIdleThreads() {
    std::vector<OptionalNumber<std::uint32_t>> places(mRecord.threads.size());
    for (Event const& event : mRecord.events) places[event.thread] = 0U;
    std::vector<Record::Thread> kept;
    for (std::uint32_t index = 0; index < places.size(); ++index) {
        if (!places[index]) continue;
        places[index] = static_cast<std::uint32_t>(kept.size());
        Record::Thread& thread = kept.emplace_back(mRecord.threads[index]);
        if (auto const name = mNames.find(*thread.id); name != mNames.end()) thread.name = name->second;
    }
    for (Record::Thread& thread : kept) {
        if (thread.startedBy) thread.startedBy = places[*thread.startedBy];
    }
    for (Event& event : mRecord.events) event.thread = *places[event.thread];
    for (Record::Client& client : mRecord.clients) client.thread = places[*client.thread];
    std::erase_if(mRecord.scheduling, [&](Scheduling const& each) { return !places[each.thread]; });
    for (Scheduling& each : mRecord.scheduling) each.thread = *places[each.thread];
    mRecord.threads = std::move(kept);
}

ReadProcess RecordMaker::finish(std::chrono::nanoseconds end) {
    bool hasPending = false;
    for (auto& [id, thread] : mThreads) {
        if (!thread.request) continue;
        leave(thread);
    }
    for (Draft const& draft : mDrafts) {
        bool const isOfSensors =
            draft.request.kind == RequestKind::PowerOn || draft.request.kind == RequestKind::PowerOff;
        hasPending = hasPending || (isOfSensors && !draft.request.ended);
    }
    makeClients();
    takeEvents();
    dropIdleThreads();
    resolveSensors();
    mRecord.end = std::max(mNow, Instant(end));
    if (mRecord.events.empty()) mRecord.begin = mRecord.end;
    bool const sectionIsOpen = std::any_of(mThreads.begin(), mThreads.end(),
                                           [](auto const& each) { return !each.second.open.empty(); });
    if (hasPending || sectionIsOpen) mRecord.cutOff = "goes on where the evidence ends";
    mRecord.shows = mReach.shows();
    return {std::move(mRecord), mReach, std::move(mNotes)};
}

}  // namespace zeqcam::tool
