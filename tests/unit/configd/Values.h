#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <ostream>
#include <string>
#include <vector>

#include "config_client/config_client_api.h"
#include "device/configd/ConfigElement.h"
#include "device/configd/vbuf_codec.h"

// The vocabulary of these tests.

inline ConfigValue Text(const std::string& text) {
    return {CONFIG_TYPE_STRING, text + '\0'};
}

inline ConfigValue Number(int32_t number) {
    return {CONFIG_TYPE_INT, std::string(reinterpret_cast<const char*>(&number), sizeof number)};
}

inline ConfigValue Binary(const std::string& bytes) {
    return {CONFIG_TYPE_BINARY, bytes};
}

inline ConfigValue Deleted() {
    return {CONFIG_TYPE_NONE, ""};
}

inline bool operator==(const ConfigElement& a, const ConfigElement& b) {
    return a.key == b.key && a.value == b.value && a.status == b.status;
}

inline void PrintTo(const ConfigElement& element, std::ostream* out) {
    *out << element.key << " type " << element.value.type << " \"" << element.value.data << "\" status "
         << element.status;
}

using Elements = std::vector<ConfigElement>;

inline std::string Vbuf(const Elements& elements) {
    std::string payload;
    for (const ConfigElement& element : elements) {
        vbuf_append(payload, element.key, element.value, element.status);
    }
    return payload;
}

// While it lives, the files of a process (0 is this one) do not grow beyond a size: as on a full disk.
class FullDisk {
  public:
    explicit FullDisk(rlim_t file_bytes = 0, pid_t process = 0) : m_process(process) {
        signal(SIGXFSZ, SIG_IGN);
        prlimit(m_process, RLIMIT_FSIZE, nullptr, &m_before);
        const rlimit limit{file_bytes, m_before.rlim_max};
        prlimit(m_process, RLIMIT_FSIZE, &limit, nullptr);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() { prlimit(m_process, RLIMIT_FSIZE, &m_before, nullptr); }

  private:
    pid_t m_process;
    rlimit m_before{};
};
