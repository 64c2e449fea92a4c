#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <ostream>
#include <string>
#include <vector>

#include "config_client/config_client_api.h"
#include "device/configd/ConfigElement.h"

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

// While it lives, files do not grow: as on a full disk.
class FullDisk {
  public:
    FullDisk() {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit none{0, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &m_before); }

  private:
    rlimit m_before{};
};
