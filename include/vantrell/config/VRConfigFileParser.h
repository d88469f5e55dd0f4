#pragma once

// VRConfigFileParser: the process-wide reader of the collection configuration, the text files that
// say per platform which counters the collectors read, when, on which CPU and how. The host calls
// parse once at start with the files, the loaded collectors and the machine record; the host and the
// plug-ins then ask it about the platform, its capabilities and its messages.
//
// The language: one fact per line, `T0_T1_T2_T3_T4=T5` (platform, prefix, tag, mechanism, category,
// value), "#" starts a comment anywhere, blank lines are skipped, lines may be of any length.
//
// A stateless facade over a private parser state, which exists from parse until destroy (or the next
// parse, which replaces it). Ownership: everything parsed belongs to that state; pointers to messages
// and capabilities handed out die with it. The collectors and their operation prototypes are borrowed
// and must outlive it. Not thread-safe: parse and destroy run while nothing else uses the parser.

#include <string>
#include <utility>
#include <vector>

#include "vantrell/Export.h"

class CollectorPlugin;

namespace pwr {

class ConfigCap;
class InputMsg;
class SystemMetadata;

// The detail of a collection, as getMessagesFor asks for it: which trigger set of a message counts.
enum CollectionType : int {
    COLLECTION_NORMAL = 0,      // the normal set
    COLLECTION_MAX_DETAIL = 1,  // the maximum-detail set
    COLLECTION_FALL_BACK = 2,   // the normal set; a message without one is run at maximum detail
};

class VR_EXPORT VRConfigFileParser {
  public:
    // The facade, made at first use. Never null.
    static VRConfigFileParser* instance();

    // Deletes the parsed state, if any: every platform with its messages, capabilities and
    // specifiers, each announced with "Deleting platform <name>" at DEBUG level.
    void destroy();

    // Replaces any earlier state with a new one, builds the catalogue of operation types from
    // `collectors` (testing each operation's requirements against `metadata`), then reads `files` in
    // order. Returns 0, or -1 when:
    //   the catalogue can't be built: "ERROR initializing parser\n" on standard error;
    //   a file can't be opened ("Error opening config file %s\n" on standard error) or holds a bad
    //   line (the chain of failed rules, "ERROR parsing line <line>" at error level and
    //   "ERROR parsing config file %s\n" on standard error): later files aren't read, and the FATAL
    //   "ERROR parsing config file <name>!" is logged;
    //   a platform's parent was never defined: the list of missing parents at error level, then the
    //   FATAL "config file parser sanity checks did NOT pass -- config files are invalid!".
    // On failure the state stays as far as it got. A malformed PCI or PMT model value throws a C
    // string out of this call.
    int parse(std::vector<std::string> const& files, std::vector<CollectorPlugin*> const& collectors,
              SystemMetadata const& metadata);

    // The queries below read the state of the last parse and are meant for after it. A platform name
    // string is a comma list of `<TYPE>=<NAME>` entries, each naming one platform.

    // Sets `name` to the platform that the machine fact `specifier` (type, value; "FMS" and "6.85.4",
    // "PCI" and "VENDOR=0x8086,DEVICE=0x1234") recognises: the first platform in name order with an
    // exact match, else the first with a partial one, else empty. Always 0.
    int getPlatformName(std::string& name, std::pair<std::string, std::string> const& specifier) const;

    // True when `prefix` has at least one usable message on the platforms of `platformNames`.
    bool isPlatformPrefixSupported(std::string const& platformNames, std::string const& prefix) const;

    // Appends to `messages` (not emptied first) the messages of `prefix` that the most derived of the
    // named platforms supplies (with its ancestors' where it said EXTEND), once for each of `triggers`
    // found in the trigger set that `type` chooses, which also becomes each message's active set. A
    // message of constants with no triggers is listed when "INIT" is wanted. 0, or -1 when the names
    // are invalid or no platform supplies a message. The messages belong to the parser.
    int getMessagesFor(std::vector<InputMsg*>& messages, std::string const& platformNames,
                       std::string const& prefix, std::vector<std::string> const& triggers,
                       CollectionType const& type) const;

    // Sets `caps` to the capabilities of each named platform, its ancestors and the root, in that order
    // and each platform's in key order; duplicates stay. 0, or -1 when the names are invalid. The
    // capabilities belong to the parser.
    int getCapabilitiesFor(std::vector<ConfigCap const*>& caps, std::string const& platformNames) const;

  private:
    VRConfigFileParser() = default;
    ~VRConfigFileParser() = default;
    VRConfigFileParser(VRConfigFileParser const&) = delete;
    VRConfigFileParser& operator=(VRConfigFileParser const&) = delete;

    static VRConfigFileParser* s_instance;
};

}  // namespace pwr
