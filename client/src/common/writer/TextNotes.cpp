#include "vantrell/writer/TextNotes.h"

#include "vantrell/plugin/Logging.h"

namespace pwr {

TextNotes::TextNotes() = default;
TextNotes::TextNotes(const TextNotes& other) = default;
TextNotes::TextNotes(TextNotes&& other) noexcept = default;
TextNotes& TextNotes::operator=(const TextNotes& other) = default;
TextNotes& TextNotes::operator=(TextNotes&& other) noexcept = default;
TextNotes::~TextNotes() = default;

int TextNotes::addPreTableNote(const std::string& text) {
    return addNote_i(TextLocation::PRE_TABLE, text);
}

int TextNotes::addPostTableNote(const std::string& text) {
    return addNote_i(TextLocation::POST_TABLE, text);
}

bool TextNotes::getPreTableNotes(std::vector<std::string>& out) const {
    return getNotes_i(TextLocation::PRE_TABLE, out);
}

bool TextNotes::getPostTableNotes(std::vector<std::string>& out) const {
    return getNotes_i(TextLocation::POST_TABLE, out);
}

int TextNotes::addNote_i(TextLocation location, const std::string& text) {
    if (static_cast<uint32_t>(location) > static_cast<uint32_t>(TextLocation::POST_TABLE)) {
        // Kept all the same: a writer that knows the location may still show it.
        VR_LOG(2, "WARNING: Couldn't set text to be displayed\n");
    }
    notes[location].push_back(text);
    return 0;
}

bool TextNotes::getNotes_i(TextLocation location, std::vector<std::string>& out) const {
    const auto found = notes.find(location);
    if (found == notes.end()) {
        return false;
    }
    out = found->second;
    return true;
}

}  // namespace pwr
