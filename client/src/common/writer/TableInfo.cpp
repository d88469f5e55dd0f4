#include "vantrell/plugin/Logging.h"
#include "vantrell/writer/WriterInterfaceConfigFileParser.h"

namespace pwr {

bool TableInfo::setKeyValuePair(std::string const& key, std::string const& value) {
    if (entries.emplace(key, value).second) {
        return true;
    }
    VR_LOG_AREA(2, "output-config-parser",
                "WARNING: Config table info (%s) entry already present for metric table\n", key.c_str());
    return false;
}

bool TableInfo::isKeySet(std::string const& key) const {
    return entries.count(key) != 0;
}

bool TableInfo::isEmpty() const {
    return entries.empty();
}

bool TableInfo::getConfigEntry(std::string const& key, std::string& value) const {
    const auto found = entries.find(key);
    if (found == entries.end()) {
        return false;
    }
    value = found->second;
    return true;
}

bool TableInfo::isConfigEntryYesOrNo(std::string const& key) const {
    const auto found = entries.find(key);
    return found != entries.end() && found->second == "YES";
}

bool TableInfo::getTableTitle(std::string& out) const {
    return getConfigEntry("TITLE", out);
}

bool TableInfo::getPreTableNote(std::string& out) const {
    return getConfigEntry("PRE-TABLE-TEXT", out);
}

bool TableInfo::getPostTableNote(std::string& out) const {
    return getConfigEntry("POST-TABLE-TEXT", out);
}

bool TableInfo::isTableDisplayed() const {
    return !isKeySet("TABLE") || isConfigEntryYesOrNo("TABLE");
}

bool TableInfo::isTableTransposed() const {
    return isConfigEntryYesOrNo("TRANSPOSE");
}

bool TableInfo::suppressTotal() const {
    return isConfigEntryYesOrNo("SUPPRESS-TOTAL");
}

}  // namespace pwr
