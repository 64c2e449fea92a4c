// SPDX-License-Identifier: MIT

#include "fan_out_floor.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "arrival.h"
#include "pinned.h"

namespace {

constexpr size_t kTextBytes = 160;  // about what a notification of the fan-out has

}  // namespace

FanOutFloor::FanOutFloor(size_t receivers) : m_turn(makePair()) {
    for (size_t i = 0; i < receivers; ++i) {
        m_connections.push_back(makePair());
    }
    m_sender = fork_pinned(kServingCpu);
    if (m_sender == 0) {
        sendForEver();
    }
}

FanOutFloor::~FanOutFloor() {
    kill(m_sender, SIGKILL);
    waitpid(m_sender, nullptr, 0);
}

double FanOutFloor::arrivalUs(size_t rounds) {
    const auto begin_turn = [this] {
        if (write(m_turn.second.get(), "", 1) != 1) {
            std::abort();
        }
    };
    const auto has_arrived = [this](size_t receiver) {
        pollfd look{m_connections[receiver].second.get(), POLLIN, 0};
        return poll(&look, 1, 0) == 1;
    };
    return arrival_us(rounds, m_connections.size(), begin_turn, has_arrived, [this] { receiveAll(); });
}

FanOutFloor::Pair FanOutFloor::makePair() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        std::abort();
    }
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

void FanOutFloor::sendForEver() const {
    const std::string text(kTextBytes, 'x');
    char turn = 0;
    while (read(m_turn.first.get(), &turn, 1) == 1) {
        for (const Pair& connection : m_connections) {
            if (send(connection.first.get(), text.data(), text.size(), MSG_NOSIGNAL) < 0) {
                _exit(1);
            }
        }
    }
    _exit(0);
}

void FanOutFloor::receiveAll() const {
    char text[4096];
    for (const Pair& connection : m_connections) {
        if (read(connection.second.get(), text, sizeof text) <= 0) {
            std::abort();
        }
    }
}
