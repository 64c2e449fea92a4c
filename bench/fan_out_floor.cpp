#include "fan_out_floor.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "pinned.h"
#include "runtime/c_owner.h"

namespace {

constexpr size_t kTexts = 20000;
constexpr size_t kTextBytes = 160;  // about what a notification of the fan-out has

using Pair = std::pair<UniqueFd, UniqueFd>;

Pair socket_pair() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        std::abort();
    }
    return {UniqueFd(ends[0]), UniqueFd(ends[1])};
}

double used_us() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

// The last first, as the subscribers of the fan-out read.
[[noreturn]] void receive_for_ever(const std::vector<Pair>& connections, const Pair& turn) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    pin_process(0, kAskingCpu);
    char text[4096];
    for (;;) {
        for (size_t i = connections.size(); i-- > 0;) {
            if (read(connections[i].second.get(), text, sizeof text) <= 0) {
                _exit(0);
            }
        }
        if (write(turn.second.get(), "", 1) != 1) {
            _exit(0);
        }
    }
}

double send_rounds(const std::vector<Pair>& connections, const Pair& turn) {
    const std::string text(kTextBytes, 'x');
    const size_t rounds = kTexts / connections.size();
    double us = 0;
    for (size_t round = 0; round < rounds; ++round) {
        const double before = used_us();
        for (const Pair& connection : connections) {
            if (send(connection.first.get(), text.data(), text.size(), MSG_NOSIGNAL) < 0) {
                std::abort();
            }
        }
        us += used_us() - before;
        char done = 0;
        if (read(turn.first.get(), &done, 1) != 1) {
            std::abort();
        }
    }
    return us / static_cast<double>(rounds * connections.size());
}

}  // namespace

double fan_out_floor_us(size_t receivers) {
    std::vector<Pair> connections;
    for (size_t i = 0; i < receivers; ++i) {
        connections.push_back(socket_pair());
    }
    const Pair turn = socket_pair();
    const pid_t receiver = fork();
    if (receiver == 0) {
        receive_for_ever(connections, turn);
    }
    pin_process(0, kServingCpu);
    const double us = send_rounds(connections, turn);
    pin_process(0, kAskingCpu);
    kill(receiver, SIGKILL);
    waitpid(receiver, nullptr, 0);
    return us;
}
