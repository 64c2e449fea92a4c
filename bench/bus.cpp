// SPDX-License-Identifier: MIT

#include "bus.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "BusSocket.h"
#include "RunningUnit.h"
#include "arrival.h"
#include "cbus/cbus_wire.h"
#include "comparison.h"
#include "fan_out_floor.h"
#include "floors.h"
#include "median.h"
#include "pinned.h"
#include "table.h"

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int kRoundTrips = 4000;
constexpr double kRateSeconds = 0.5;
constexpr int kRounds = 9;
constexpr size_t kReceivers = 100;
constexpr size_t kSignals = 200;  // a round of the fan-out

// A process that ends with this object.
class Helper {
  public:
    template <class Work>
    explicit Helper(Work work) : m_pid(fork_pinned(kAskingCpu)) {
        if (m_pid == 0) {
            work();
            _exit(0);
        }
    }
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;
    ~Helper() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }

  private:
    pid_t m_pid;
};

// Answers every request with itself.
[[noreturn]] void echo(const std::string& address) {
    BusSocket socket(address);
    socket.tell("cbus.provide", "bench.echo");
    while (true) {
        const size_t bytes = socket.read();
        std::string message(socket.received(), bytes);
        message[0] = CBUS_REPLY;
        socket.write(message);
    }
}

[[noreturn]] void send_for_ever(const std::string& address, size_t clients) {
    std::vector<std::unique_ptr<BusSocket>> sockets;
    for (size_t i = 0; i < clients; ++i) {
        sockets.push_back(std::make_unique<BusSocket>(address));
    }
    const std::string signal = BusSocket::message(CBUS_SIGNAL, "bench.count");
    while (true) {
        for (const auto& socket : sockets) {
            socket->write(signal);
        }
    }
}

double round_trip_us(BusSocket& socket, const std::string& request) {
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < kRoundTrips; ++i) {
        socket.write(request);
        socket.read();
    }
    return Microseconds(Clock::now() - start).count() / kRoundTrips;
}

void await_provider(BusSocket& socket, const std::string& request) {
    do {
        socket.write(request);
        // Until there is one, the bus answers without data.
    } while (socket.read() < BusSocket::kMessageBytes);
}

void compare_round_trip(const std::string& address) {
    const Helper provider([&] { echo(address); });
    BusSocket socket(address);
    const std::string request = BusSocket::message(CBUS_REQUEST, "bench.echo");
    await_provider(socket, request);
    RawRelay relay;
    comparison_print({"round trip of 64 bytes over cbusd", "us", 1, "at most 1.30",
                      [&] { return round_trip_us(socket, request); },
                      [&] {
                          const Clock::time_point start = Clock::now();
                          for (int i = 0; i < kRoundTrips; ++i) {
                              relay.roundTrip(BusSocket::kMessageBytes);
                          }
                          return Microseconds(Clock::now() - start).count() / kRoundTrips;
                      }});
}

double messages_per_second(BusSocket& receiver) {
    const Clock::time_point start = Clock::now();
    std::chrono::duration<double> elapsed{0};
    size_t bytes = 0;
    while (elapsed.count() < kRateSeconds) {
        bytes += receiver.read();
        elapsed = Clock::now() - start;
    }
    return static_cast<double>(bytes) / BusSocket::kMessageBytes / elapsed.count();
}

void print_rate(const std::string& address, size_t clients) {
    const auto receiver = std::make_unique<BusSocket>(address);
    receiver->tell("cbus.filter", "bench.count");
    const Helper senders([&] { send_for_ever(address, clients); });
    receiver->read();
    std::vector<double> rates;
    for (int round = 0; round < kRounds; ++round) {
        rates.push_back(messages_per_second(*receiver));
    }
    table_print({"signals of 64 bytes from " + std::to_string(clients) +
                     (clients == 1 ? " client" : " clients") + " to one",
                 table_figure(median(rates), 0, "/s"), "", "", ""});
}

void read_whole(BusSocket& socket) {
    for (size_t bytes = 0; bytes < BusSocket::kMessageBytes;) {
        bytes += socket.read();
    }
}

double signal_arrival_us(BusSocket& sender, const std::string& signal,
                         const std::vector<std::unique_ptr<BusSocket>>& receivers) {
    const auto send = [&] { sender.write(signal); };
    const auto has_arrived = [&](size_t receiver) { return receivers[receiver]->hasArrived(); };
    const auto read_all = [&] {
        for (const auto& receiver : receivers) {
            read_whole(*receiver);
        }
    };
    return arrival_us(kSignals, receivers.size(), send, has_arrived, read_all);
}

void compare_fan_out(const std::string& address) {
    std::vector<std::unique_ptr<BusSocket>> receivers;
    for (size_t i = 0; i < kReceivers; ++i) {
        receivers.push_back(std::make_unique<BusSocket>(address));
        receivers.back()->tell("cbus.filter", "bench.fan");
    }
    BusSocket sender(address);
    const std::string signal = BusSocket::message(CBUS_SIGNAL, "bench.fan");
    // Once all of them hear, the figures begin.
    for (const auto& receiver : receivers) {
        while (!receiver->hasArrived()) {
            sender.write(signal);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    for (const auto& receiver : receivers) {
        receiver->read();
    }
    FanOutFloor floor(kReceivers);
    comparison_print({"one signal, each of 100 filters", "us", 2, "",
                      [&] { return signal_arrival_us(sender, signal, receivers); },
                      [&] { return floor.arrivalUs(kSignals); }});
}

}  // namespace

void bus_print(const RunningUnit& unit) {
    compare_round_trip(unit.busAddress());
    for (const size_t clients : {size_t{1}, size_t{10}, size_t{100}}) {
        print_rate(unit.busAddress(), clients);
    }
    compare_fan_out(unit.busAddress());
}
