// One command-line option: its attributes, its help lines and its JSON form.

#include <algorithm>
#include <iomanip>

#include <nlohmann/json.hpp>

#include "vantrell/platform/Console.h"
#include "vantrell/usage/UsageText.h"

namespace pwr {
namespace usage {
namespace {

std::string join(std::vector<std::string> const& items, const char* separator) {
    std::string out;
    for (size_t i = 0; i < items.size(); ++i) {
        out += (i == 0 ? "" : separator) + items[i];
    }
    return out;
}

}  // namespace

Option::Option(std::string const& name, std::string const& description, TabLevel const& level) {
    init(name, description, "", "", "", "", "", {}, "", level);
}

Option::Option(std::string const& name, std::string const& description, TabLevel const& level,
               std::string const& abbreviation) {
    init(name, description, abbreviation, "", "", "", "", {}, "", level);
}

Option::Option(std::string const& name, std::string const& description, std::string const& abbreviation,
               std::string const& arg, std::string const& argType, std::string const& argUnits,
               std::string const& argDefault, std::vector<std::string> const& args, std::string const& notes,
               TabLevel const& level) {
    init(name, description, abbreviation, arg, argType, argUnits, argDefault, args, notes, level);
}

void Option::init(std::string const& name, std::string const& description, std::string const& abbreviation,
                  std::string const& arg, std::string const& argType, std::string const& argUnits,
                  std::string const& argDefault, std::vector<std::string> const& args,
                  std::string const& notes, TabLevel const& level) {
    attributes[nameKey] = name;
    attributes[descriptionKey] = description;
    attributes[abbreviationKey] = abbreviation;
    attributes[argKey] = arg;
    attributes[argTypeKey] = argType;
    attributes[argUnitsKey] = argUnits;
    attributes[argDefaultKey] = argDefault;
    attributes[notesKey] = notes;
    validArgs = args;
    attributes[aliasKey] = getAlias();
    attributes[normalNameKey] = getNormalizedName();
    tabLevel = level;
    auto width = columnWidths.find(level);
    columnWidth = width != columnWidths.end() ? width->second : 25;
    textWidth = 80 - columnWidth;
}

std::string& Option::attribute_i(Attribute attribute) {
    switch (attribute) {
        case NAME:
            return attributes[nameKey];
        case DESCRIPTION:
            return attributes[descriptionKey];
        case ABBREVIATION:
            return attributes[abbreviationKey];
        case NORMAL_NAME:
            return attributes[normalNameKey];
        case ARG:
            return attributes[argKey];
        case ARG_DEFAULT:
            return attributes[argDefaultKey];
        case ARG_UNITS:
            return attributes[argUnitsKey];
        case ARG_TYPE:
            return attributes[argTypeKey];
        case NOTES:
            return attributes[notesKey];
        case ALIAS:
            break;
    }
    return attributes[aliasKey];
}

std::string Option::getAttribute(Attribute const& attribute) {
    if (attribute < NAME || attribute > ALIAS) {
        return std::string();
    }
    return attribute_i(attribute);
}

std::string Option::getName() {
    const std::string& name = attributes[nameKey];
    return name.empty() ? attributes[abbreviationKey] : name;
}

std::string Option::getAlias() {
    return stripChars(getName(), {'-'});
}

std::string Option::getNormalizedName() {
    std::string name = getName();
    size_t first = name.find_first_not_of('-');
    if (first == std::string::npos) {
        return std::string();
    }
    name = name.substr(first, name.find_last_not_of('-') - first + 1);
    std::replace(name.begin(), name.end(), '-', ' ');
    return name;
}

std::string Option::stripChars(std::string const& text, std::vector<char> const& chars) {
    std::string out;
    for (char c : text) {
        if (std::find(chars.begin(), chars.end(), c) == chars.end()) {
            out += c;
        }
    }
    return out;
}

void Option::appendValidArgs(std::vector<std::string> const& args) {
    validArgs.insert(validArgs.end(), args.begin(), args.end());
}

std::string Option::getNameColumnFormat() {
    std::string name = getName();
    if (name.empty() || name[0] != '-') {
        return std::string();
    }
    return attributes[nameKey].empty() ? "    " : ", ";
}

std::string Option::getTabString() {
    return std::string(tabLevel > 0 ? static_cast<size_t>(tabLevel) : 0, '\t');
}

void Option::formatWhitespace(std::stringstream& out) const {
    if (tabLevel == LEVEL_3) {
        out << "\t\t" << std::setfill(' ') << std::setw(columnWidth);
    } else {
        out << std::string(tabLevel > 0 ? static_cast<size_t>(tabLevel) : 0, '\t') << std::setw(columnWidth)
            << std::left;
    }
}

std::string Option::formatSubOption() {
    auto entry = UsageText::s_IndividualFeatureOptions.find(getName());
    if (entry == UsageText::s_IndividualFeatureOptions.end()) {
        return std::string();
    }
    std::stringstream out;
    for (Option& sub : entry->second) {
        out << getTabString();
        sub.formatWhitespace(out);
        out << "--option " + sub.getName();
        if (!sub.attributes[argKey].empty()) {
            out << "=" + sub.attributes[argKey];
        }
        out << "; " << sub.attributes[descriptionKey];
        if (!sub.validArgs.empty()) {
            out << "\n" << getTabString();
            sub.formatWhitespace(out);
            out << "  Valid args: " << join(sub.validArgs, ", ");
        }
        if (!sub.attributes[notesKey].empty()) {
            out << "\n" << getTabString();
            sub.formatWhitespace(out);
            out << "  Note: " << sub.attributes[notesKey];
        }
        out << "\n";
    }
    return out.str();
}

int Option::getWindowsConsoleWidth() {
    int columns = 80;
    platform::getConsoleWidth(columns);
    return columns;
}

void Option::formatJson(json& out) {
    json& member = out[getName()];
    for (const auto& attribute : attributes) {
        member[attribute.first] = attribute.second;
    }
    if (!validArgs.empty()) {
        member["valid args"] = validArgs;
    }
}

}  // namespace usage
}  // namespace pwr
