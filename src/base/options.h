// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <string>

namespace common {

// Options: the options of a command line, from name to value. A flag is recorded with an empty value.
// Errors: none are reported. An argument that does not fit the grammar is not recorded and stays in the
//         argument vector.
class Options {
  public:
    // From option name to whether the option takes a value.
    using Grammar = std::map<std::string, bool>;

    Options() = default;
    Options(const Options&) = default;
    Options& operator=(const Options&) = default;
    virtual ~Options() = default;

    // Reads a grammar such as "h,c:,l:": names between commas, a colon behind those that take a value. An
    // item with a colon elsewhere is ignored; the last of two items with one name counts.
    [[nodiscard]] static Grammar parse(const std::string& grammar);

    // Takes the options of `grammar` out of the vector: -name, --name, -name=value and -name value. What was
    // taken vanishes from argc and argv, what is left moves up, and a null closes a vector that became shorter.
    [[nodiscard]] static Options extract(const std::string& grammar, int& argc, char** argv);

    void put(const std::string& name, const std::string& value);
    // Empty when the option is absent.
    [[nodiscard]] std::string get(const std::string& name) const;
    [[nodiscard]] bool contains(const std::string& name) const;
    void clear();
    // { name => "value", name => "value" } in the order of the names.
    [[nodiscard]] std::string toString() const;

  private:
    int take(const Grammar& grammar, int left, char* const* arguments);

    std::map<std::string, std::string> m_values;
};

}  // namespace common
