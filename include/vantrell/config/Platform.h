#pragma once

// A Platform is one named node of the tree of machine descriptions in the collection configuration:
// "A-B" is the child B of A, every platform without a dash is a child of "ALL", the root. It holds the
// specifiers that recognise the machine, the capabilities and messages of each prefix (feature), and
// how its messages combine with its parent's.
//
// Ownership: the parser owns its platforms; a platform owns its messages, capabilities and
// specifiers, and borrows its parent and children. Not copyable. One thread at a time.

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "vantrell/Export.h"

class CollectorPlugin;

namespace pwr {

class ConfigCap;
class InputMsg;
struct Specifier;

class VR_EXPORT Platform {
  public:
    // The inherit modes of a prefix.
    static constexpr int kOverride = 0;
    static constexpr int kExtend = 1;

    // With a `parent`, the new platform adds itself to the parent's children.
    Platform(std::string const& name, Platform* parent);
    Platform(Platform const&) = delete;
    Platform& operator=(Platform const&) = delete;
    // Deletes the messages, capabilities and specifiers.
    ~Platform();

    std::string const& getName() const { return name; }
    Platform* getParent() const { return parent; }
    void setParent(Platform* value) { parent = value; }
    std::vector<Platform*> const& getChildren() const { return children; }
    void addChild(Platform* child) { children.push_back(child); }

    // Takes ownership of `specifier`; kept in file order.
    void addSpecifier(Specifier* specifier);
    std::vector<Specifier*> const& getSpecifiers() const { return specifiers; }

    // The capability of `prefix` under the key `<platformPrefix>_<prefix>`, made (and its prefix set)
    // at first use. Logs "OK, got or created cap with config file prefix = <prefix>" at DEBUG level.
    ConfigCap* getOrCreateCap(std::string const& prefix, std::string const& platformPrefix);
    std::map<std::string, ConfigCap*> const& getCaps() const { return caps; }

    // The message `<key>_<name>`, made at first use with the next number of `key` as its id.
    InputMsg* getOrCreateMessage(std::string const& msgName, std::string const& key);
    // Adds `fullName` to the names declared under `key`, unless it is there already.
    void addMessageName(std::string const& key, std::string const& fullName);
    // The message `<platform>_<name>` of this platform, else of the nearest ancestor that has
    // `<ancestor>_<name>`; null when none does.
    InputMsg* findMessage(std::string const& msgName) const;
    // Makes `member` part of `group`: its triggers are offered to the group, its operations move to
    // the group, and its name resolves to the group from now on. 0, or -1 with the reason logged.
    int appendMessages(InputMsg* group, CollectorPlugin const* groupCollector, InputMsg* member,
                       CollectorPlugin const* memberCollector);
    std::map<std::string, InputMsg*> const& getMessages() const { return messages; }
    std::map<std::string, std::vector<std::string>> const& getMessageNames() const { return messageNames; }

    // Sets `out` to the usable messages declared under `<platform>_<prefix>`, in declaration order,
    // each once (members of a group appear as their group); messages without operations are left out.
    // 0 when `out` holds any, else -1.
    int getMessagesFor(std::vector<InputMsg*>& out, std::string const& prefix);

    // Sets the inherit mode (kOverride or kExtend) of `prefix`.
    void setInheritMode(std::string const& prefix, int mode) { inheritModes[prefix] = mode; }
    std::unordered_map<std::string, int> const& getInheritModes() const { return inheritModes; }

  private:
    std::string name;
    std::map<std::string, InputMsg*> messages;
    std::map<std::string, ConfigCap*> caps;
    std::map<std::string, int> messageCounters;
    std::map<std::string, std::vector<std::string>> messageNames;
    std::vector<std::unique_ptr<InputMsg>> ownedMessages;
    Platform* parent;
    std::vector<Platform*> children;
    std::vector<Specifier*> specifiers;
    std::unordered_map<std::string, int> inheritModes;
};

}  // namespace pwr
