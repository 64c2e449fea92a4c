// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "device/cbusd/PendingRequests.h"
#include "device/cbusd/client_id.h"

// FlowControl: which clients are not read for now, because receivers do not take what those clients send.
//   Who writes into a full queue is blocked on its receiver until the queue has nearly emptied, and a blocked client
//   is held: not read. So a fast writer goes at the pace of its receiver and the memory stays bounded. Two kinds of
//   blocked clients are read on all the same, until a queue is over even the upper limit:
//   - one that owes a reply to somebody else, who would wait for a receiver that he has nothing to do with;
//   - one whose own queue is full: it may be waiting for us to take its bytes before it takes ours, and of two
//     clients that fill each other's queues neither would ever go on.
//   A receiver has a time in which to empty its queue while somebody is blocked on it, in proportion to what waited at
//   most: so one that takes a little now and then does not hold others up for ever, and one that is only slow stays.
// Borrows: the pending requests; they outlive this object.
// Units:   milliseconds of px_time_ms(), which may wrap.
class FlowControl {
  public:
    struct Limits {
        size_t nearly_empty_bytes = size_t{1} << 20;
        size_t full_bytes = size_t{4} << 20;
        size_t no_longer_over_bytes = size_t{8} << 20;
        size_t over_bytes = size_t{16} << 20;
    };
    enum class Kind { kReply, kOther };

    FlowControl(const Limits& limits, const PendingRequests& pending)
        : m_limits(limits), m_pending(pending) {}

    [[nodiscard]] const Limits& limits() const { return m_limits; }

    // `writer` has sent something to `receiver`, for which so much waits now, or is about to: see is_over().
    void note_written(ClientId writer, ClientId receiver, Kind kind, size_t waiting_bytes, uint32_t now_ms);
    // The receiver has taken something.
    void note_taken(ClientId receiver, size_t waiting_bytes) { note_level(receiver, waiting_bytes); }
    // The provider was asked something.
    void note_asked(ClientId provider);
    // Nothing waits for it any more: nobody is blocked on it.
    void remove_receiver(ClientId receiver);
    // Nor is it blocked itself.
    void remove_client(ClientId client);
    // Gives the receiver its whole time again.
    void restart(ClientId receiver, uint32_t now_ms);

    [[nodiscard]] bool is_held(ClientId client) const;
    // So much waits for the receiver that whatever comes next has to stay with who sent it.
    [[nodiscard]] bool is_over(ClientId receiver) const;
    [[nodiscard]] bool is_any_over() const;
    [[nodiscard]] bool is_blocked_on(ClientId client, ClientId receiver) const;
    [[nodiscard]] bool is_holding_somebody(ClientId receiver) const;
    // The receiver that does not take its own replies, by which the others who wait for this provider are kept from
    // theirs: somebody has to go, and that is who asked for the replies.
    [[nodiscard]] std::optional<ClientId> receiver_in_the_way_of(ClientId provider) const;
    // Those on whom somebody has been blocked for longer than it takes to come from full to nearly empty in `time_ms`,
    // and for how long.
    [[nodiscard]] std::vector<std::pair<ClientId, uint32_t>> slow_receivers(uint32_t now_ms,
                                                                            uint32_t time_ms) const;
    // Those for whom is_held() may answer differently since the last call.
    [[nodiscard]] std::set<ClientId> take_changed();

  private:
    enum class Level { kFull, kOver };
    struct Receiver {
        Level level = Level::kFull;
        std::set<ClientId> writers;
        // Of the time in which there are writers.
        uint32_t since_ms = 0;
        size_t most_bytes = 0;
    };

    void note_level(ClientId receiver, size_t waiting_bytes);
    void set_level(ClientId receiver, Level level);
    [[nodiscard]] uint64_t time_to_empty_ms(const Receiver& receiver, uint32_t time_ms) const;
    [[nodiscard]] bool owes_others(ClientId client, const std::map<ClientId, Kind>& receivers) const;

    Limits m_limits;
    const PendingRequests& m_pending;
    std::map<ClientId, Receiver> m_receivers;                // the full ones
    std::map<ClientId, std::map<ClientId, Kind>> m_blocked;  // writer -> full receivers; never an empty map
    std::set<ClientId> m_changed;
};
