#pragma once

// What the collection configuration says about a feature as a whole: its command-line name, its help
// text, the prefix under which the files name it, whether it is hidden, and its groups.
//
// A plain copyable value. The parser owns the ConfigCap objects it makes; pointers handed out by the
// parser's queries die with VRConfigFileParser::destroy. One thread at a time.

#include <string>

#include "vantrell/Export.h"
#include "vantrell/record/PWSet.h"

namespace pwr {

class VR_EXPORT ConfigCap {
  public:
    std::string const& getName() const { return name; }
    void setName(std::string const& value) { name = value; }
    std::string const& getDescription() const { return description; }
    void setDescription(std::string const& value) { description = value; }
    std::string const& getConfigfilePrefix() const { return configfilePrefix; }
    void setConfigfilePrefix(std::string const& value) { configfilePrefix = value; }
    PWSet<std::string> const& getGroups() const { return groups; }
    void addGroup(std::string const& group) { groups.insert(group); }
    bool isHidden() const { return hidden; }
    // Only sets: a capability once hidden stays hidden, and `false` changes nothing.
    void setHidden(bool value = true) { hidden = hidden || value; }

  private:
    std::string name;
    std::string description;
    std::string configfilePrefix;
    bool hidden = false;
    PWSet<std::string> groups;
};

}  // namespace pwr
