// SPDX-License-Identifier: MIT

#include "device/diagd/unit_state.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/klog.h>
#include <sys/socket.h>
#include <sys/utsname.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "runtime/c_owner.h"
#include "runtime/px_time.h"

namespace {

constexpr size_t kStateBytes = 128 * 1024;
constexpr size_t kLogBytes = 256 * 1024;
constexpr int kKernelLogReadAll = 3;  // SYSLOG_ACTION_READ_ALL: leaves the log as it is

constexpr ReportSource kSources[] = {
    {"kernel/version.txt", "/proc/version", kStateBytes, FilePart::kHead},
    {"kernel/cmdline.txt", "/proc/cmdline", kStateBytes, FilePart::kHead},
    {"kernel/cpuinfo.txt", "/proc/cpuinfo", kStateBytes, FilePart::kHead},
    {"kernel/uptime.txt", "/proc/uptime", kStateBytes, FilePart::kHead},
    {"kernel/loadavg.txt", "/proc/loadavg", kStateBytes, FilePart::kHead},
    {"kernel/meminfo.txt", "/proc/meminfo", kStateBytes, FilePart::kHead},
    {"kernel/stat.txt", "/proc/stat", kStateBytes, FilePart::kHead},
    {"kernel/interrupts.txt", "/proc/interrupts", kStateBytes, FilePart::kHead},
    {"kernel/modules.txt", "/proc/modules", kStateBytes, FilePart::kHead},
    {"kernel/mounts.txt", "/proc/self/mounts", kStateBytes, FilePart::kHead},
    {"kernel/partitions.txt", "/proc/partitions", kStateBytes, FilePart::kHead},
    {"kernel/diskstats.txt", "/proc/diskstats", kStateBytes, FilePart::kHead},
    {"network/interfaces.txt", "/proc/net/dev", kStateBytes, FilePart::kHead},
    {"network/routes.txt", "/proc/net/route", kStateBytes, FilePart::kHead},
    {"network/routes6.txt", "/proc/net/ipv6_route", kStateBytes, FilePart::kHead},
    {"network/neighbours.txt", "/proc/net/arp", kStateBytes, FilePart::kHead},
    {"network/tcp.txt", "/proc/net/tcp", kStateBytes, FilePart::kHead},
    {"network/tcp6.txt", "/proc/net/tcp6", kStateBytes, FilePart::kHead},
    {"network/udp.txt", "/proc/net/udp", kStateBytes, FilePart::kHead},
    {"network/udp6.txt", "/proc/net/udp6", kStateBytes, FilePart::kHead},
    {"network/unix.txt", "/proc/net/unix", kStateBytes, FilePart::kHead},
    {"network/sockets.txt", "/proc/net/sockstat", kStateBytes, FilePart::kHead},
    {"network/counters.txt", "/proc/net/snmp", kStateBytes, FilePart::kHead},
    {"network/resolver.txt", "/etc/resolv.conf", kStateBytes, FilePart::kHead},
    {"log/messages.txt", "/var/log/messages", kLogBytes, FilePart::kTail},
    {"log/syslog.txt", "/var/log/syslog", kLogBytes, FilePart::kTail},
    {"log/daemon.txt", "/var/log/daemon.log", kLogBytes, FilePart::kTail},
};

std::string address_text(const sockaddr* address) {
    const bool is_ipv4 = address != nullptr && address->sa_family == AF_INET;
    if (!is_ipv4 && (address == nullptr || address->sa_family != AF_INET6)) {
        return "";
    }
    char text[NI_MAXHOST];
    const socklen_t bytes = is_ipv4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    return getnameinfo(address, bytes, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0 ? text : "";
}

void add_addresses(Report& report) {
    constexpr const char* kName = "network/addresses.txt";
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        report.note(kName, strerror(errno));
        return;
    }
    const COwned<ifaddrs, freeifaddrs> owner(first);
    std::string text;
    for (const ifaddrs* each = first; each != nullptr; each = each->ifa_next) {
        const std::string address = address_text(each->ifa_addr);
        if (!address.empty()) {
            text += std::string(each->ifa_name) + ((each->ifa_flags & IFF_UP) != 0 ? " up " : " down ") +
                    address + " mask " + address_text(each->ifa_netmask) + "\n";
        }
    }
    report.add(kName, std::move(text));
}

void add_kernel_log(Report& report) {
    constexpr const char* kName = "log/kernel.txt";
    std::string text(kLogBytes, '\0');
    const int got = klogctl(kKernelLogReadAll, text.data(), static_cast<int>(text.size()));
    if (got < 0) {
        report.note(kName, std::string("the kernel's log cannot be read: ") + strerror(errno));
        return;
    }
    text.resize(static_cast<size_t>(got));
    report.add(kName, std::move(text));
}

}  // namespace

void report_add_sources(Report& report, std::span<const ReportSource> sources) {
    for (const ReportSource& source : sources) {
        report.add_file(source.name, source.path, source.max_bytes, source.part);
    }
}

void report_add_title(Report& report) {
    char made[64];
    px_utc_strftime(made, sizeof made, "%Y-%m-%d %H:%M:%S UTC", px_time());
    utsname machine{};
    uname(&machine);
    report.add("report.txt", std::string("made ") + made + "\nhost " + machine.nodename + "\nsystem " +
                                 machine.sysname + " " + machine.release + " " + machine.machine + "\n");
}

void report_add_unit_state(Report& report) {
    report_add_sources(report, kSources);
    add_addresses(report);
    add_kernel_log(report);
}
