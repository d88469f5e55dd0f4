// The MODEL lines: how a platform is recognised, by FMS, PCI, PMT or any named value or range.

#include <cstdio>
#include <string>

#include "config/ConfigParser.h"
#include "vantrell/config/LineReader.h"
#include "vantrell/config/Platform.h"
#include "vantrell/config/Specifier.h"
#include "vantrell/config/TextHelpers.h"
#include "vantrell/config/Tokenizer.h"
#include "vantrell/plugin/Logging.h"

namespace pwr {

namespace {

constexpr char kRoot[] = "ALL";

// The comma-separated pieces of a value, as the grammar splits them: empty pieces occur, a trailing
// comma yields none.
std::vector<std::string> commaPieces(std::string rest) {
    std::vector<std::string> pieces;
    std::string piece;
    while (getNextToken(piece, rest, ',', false) == 0) {
        pieces.push_back(piece);
    }
    return pieces;
}

}  // namespace

int Parser::modelRule(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "MODEL")) {
        return -1;
    }
    std::string const& kind = tokenAt_i(tokens, currToken);
    if (kind == "FMS") {
        return call_i(&Parser::modelFMSRule, "modelFMSRule", tokens, currToken);
    }
    if (kind == "PCI") {
        return call_i(&Parser::modelPCIRule, "modelPCIRule", tokens, currToken);
    }
    if (kind == "PMT") {
        return call_i(&Parser::modelPMTRule, "modelPMTRule", tokens, currToken);
    }
    return call_i(&Parser::modelOtherRule, "modelOtherRule", tokens, currToken);
}

int Parser::modelFMSRule(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "FMS") || !match(tokens, currToken, "CONSTANT") ||
        !match(tokens, currToken, "VALUE")) {
        return -1;
    }
    // The root stands for every machine: it can't claim a processor.
    if (currentPlatformName == kRoot) {
        VR_LOG(1, "ERROR: \"%s\" is NOT allowed to have \"FMS\" as a model specifier!",
               currentPlatformName.c_str());
        return -1;
    }
    return call_i(&Parser::fmsValues, "fmsValues", tokens, currToken);
}

int Parser::fmsValues(Tokens const& tokens, size_t& currToken) {
    std::string const values = trimmedCopy(tokenAt_i(tokens, currToken));
    for (std::string const& piece : commaPieces(values)) {
        if (checked_i(fmsValue(trimmedCopy(piece)), "fmsValue") != 0) {
            return -1;
        }
    }
    ++currToken;
    return 0;
}

int Parser::fmsValue(std::string const& piece) {
    try {
        currentPlatform->addSpecifier(new FMSSpecifier(piece));
    } catch (std::string const& text) {
        VR_LOG(1, "%s", text.c_str());
        return -1;
    }
    return 0;
}

int Parser::modelPCIRule(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "PCI") || !match(tokens, currToken, "CONSTANT") ||
        !match(tokens, currToken, "VALUE")) {
        return -1;
    }
    return call_i(&Parser::pciValue, "pciValue", tokens, currToken);
}

int Parser::pciValue(Tokens const& tokens, size_t& currToken) {
    unsigned int vendor = 0;
    unsigned int device = 0;
    if (std::sscanf(tokenAt_i(tokens, currToken).c_str(), "VENDOR=0x%x,DEVICE=0x%x", &vendor, &device) != 2) {
        VR_LOG(1, "ERROR: Invalid syntax for \"PCI\" model specifier\n");
        return -1;
    }
    // A 0 throws a C string that leaves parse: the host decides about a machine it can't identify.
    currentPlatform->addSpecifier(new PCISpecifier("PCI", vendor, device));
    ++currToken;
    return 0;
}

int Parser::modelPMTRule(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "PMT") || !match(tokens, currToken, "CONSTANT") ||
        !match(tokens, currToken, "VALUE")) {
        return -1;
    }
    return call_i(&Parser::PMTValue, "PMTValue", tokens, currToken);
}

int Parser::PMTValue(Tokens const& tokens, size_t& currToken) {
    unsigned int guid = 0;
    if (std::sscanf(tokenAt_i(tokens, currToken).c_str(), "GUID=0x%x", &guid) != 1) {
        VR_LOG(1, "ERROR: Invalid syntax for \"PMT\" GUID specifier\n");
        return -1;
    }
    currentPlatform->addSpecifier(new PMTSpecifier("PMT", guid));
    ++currToken;
    return 0;
}

int Parser::modelOtherRule(Tokens const& tokens, size_t& currToken) {
    if (call_i(&Parser::tag, "tag", tokens, currToken) != 0) {
        return -1;
    }
    return call_i(&Parser::modelSpec, "modelSpec", tokens, currToken);
}

int Parser::modelSpec(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "CONSTANT")) {
        return -1;
    }
    std::string const& kind = tokenAt_i(tokens, currToken);
    if (kind == "VALUE") {
        return call_i(&Parser::modelValue, "modelValue", tokens, currToken);
    }
    if (kind == "RANGE") {
        return call_i(&Parser::modelRange, "modelRange", tokens, currToken);
    }
    return -1;
}

int Parser::modelValue(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "VALUE")) {
        return -1;
    }
    currentPlatform->addSpecifier(new ValueSpecifier(currentTag, tokenAt_i(tokens, currToken++)));
    return 0;
}

int Parser::modelRange(Tokens const& tokens, size_t& currToken) {
    return call_i(&Parser::modelRangeSub, "modelRangeSub", tokens, currToken);
}

int Parser::modelRangeSub(Tokens const& tokens, size_t& currToken) {
    if (!match(tokens, currToken, "RANGE")) {
        return -1;
    }
    std::vector<std::string> pieces = commaPieces(tokenAt_i(tokens, currToken));
    if (pieces.size() < 2) {
        return -1;
    }
    std::string const low = trimmedCopy(pieces[0]);
    std::string const high = trimmedCopy(pieces[1]);
    if (low.empty() || high.empty() || !isNumber(low) || !isNumber(high)) {
        return -1;
    }
    currentPlatform->addSpecifier(new RangeSpecifier(currentTag, static_cast<uint32_t>(extract_number_i(low)),
                                                     static_cast<uint32_t>(extract_number_i(high))));
    ++currToken;
    return 0;
}

}  // namespace pwr
