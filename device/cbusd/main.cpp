// SPDX-License-Identifier: MIT

#include <event2/event.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cbus/bus_address.h"
#include "command_line/CommandLineParser.h"
#include "device/cbusd/Acceptor.h"
#include "device/cbusd/AccessList.h"
#include "device/cbusd/Broker.h"
#include "device/program/unit_program.h"
#include "runtime/logging.h"
#include "src/base/owners.h"
#include "src/base/service_notify.h"

namespace {

constexpr const char* kModule = "cbusd";

void on_end_signal(evutil_socket_t, short, void* base) noexcept {
    event_base_loopexit(static_cast<event_base*>(base), nullptr);
}

// There is no configuration to read again, and nobody wants to lose the bus over a closed terminal.
void on_hangup_signal(evutil_socket_t, short, void*) noexcept {
    logger_function(5, kModule, "SIGHUP is ignored");
}

struct Options {
    std::string address;
    std::vector<std::string> users;
    std::vector<std::string> groups;
};

void add_options(CommandLineParser& parser, Options& options) {
    parser.add("-a ADDRESS", options.address,
               "listen here: unix*NAME or tcp*HOST*PORT (CBUS_ADDR, else unix*cbus)");
    parser
        .add("--allow-user USER", options.users,
             "this user may use the bus too, a name or a number; repeatable")
        .take_one_each_time();
    parser
        .add("--allow-group GROUP", options.groups,
             "the members of this group may use the bus too, a name or a number; repeatable")
        .take_one_each_time();
}

// Nothing, with a line on standard error, when a user or group does not exist.
std::optional<AccessList> make_access_list(const Options& options) {
    AccessList access(geteuid());
    for (const std::string& user : options.users) {
        if (!access.allow_user(user)) {
            fprintf(stderr, "cbusd: no such user: '%s'\n", user.c_str());
            return std::nullopt;
        }
    }
    for (const std::string& group : options.groups) {
        if (!access.allow_group(group)) {
            fprintf(stderr, "cbusd: no such group: '%s'\n", group.c_str());
            return std::nullopt;
        }
    }
    if (options.address.starts_with("tcp*")) {
        logger_function(4, kModule, "tcp is for tests: whoever reaches the port may use the bus");
        access.allow_unknown();
    }
    return access;
}

void run(UniqueFd listener, const Options& options, AccessList access) {
    const EventBasePtr base(event_base_new());
    const EventPtr on_term(evsignal_new(base.get(), SIGTERM, on_end_signal, base.get()));
    const EventPtr on_int(evsignal_new(base.get(), SIGINT, on_end_signal, base.get()));
    const EventPtr on_hangup(evsignal_new(base.get(), SIGHUP, on_hangup_signal, nullptr));
    for (const EventPtr* signal_event : {&on_term, &on_int, &on_hangup}) {
        event_add(signal_event->get(), nullptr);
    }
    const Broker broker(base.get(), std::move(listener), std::move(access), BrokerOptions{});
    logger_function(6, kModule, "listening on %s", options.address.c_str());
    ServiceNotifier notifier(base.get());
    event_base_dispatch(base.get());
    notifier.announce_stopping();
}

}  // namespace

// Without memory at the start the program ends, as the bugprone check fears.
int main(int argc, char** argv) {  // NOLINT(bugprone-exception-escape)
    Options options;
    CommandLineParser parser("cbusd",
                             "The message bus: routes signals, requests and replies between its clients.");
    add_options(parser, options);
    if (const std::optional<int> status = parser.parse(argc, argv)) {
        return *status;
    }

    options.address = bus_address_choose(options.address);
    unit_program_prepare("cbusd");

    const std::optional<AccessList> access = make_access_list(options);
    if (!access) {
        return EXIT_FAILURE;
    }
    UniqueFd listener = bus_listen(options.address.c_str());
    if (!listener.valid()) {
        fprintf(stderr, "cbusd: cannot listen on '%s': %s\n", options.address.c_str(), strerror(errno));
        return EXIT_FAILURE;
    }
    run(std::move(listener), options, *access);
    return EXIT_SUCCESS;
}
