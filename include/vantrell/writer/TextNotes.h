#pragma once

// pwr::TextNotes: the free text that goes with a table, in front of it or behind it. Not a message:
// a table or a metric container points at one (TableMessage::setTextNotes,
// MetricContainerInfoMessage::setTextInfo) without owning it.
//
// Plain value with copy and move. One thread at a time.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vantrell/Export.h"

namespace pwr {

enum class TextLocation : uint32_t {
    PRE_TABLE = 0,
    POST_TABLE = 1,
};

class VR_EXPORT TextNotes {
  public:
    TextNotes();
    TextNotes(const TextNotes& other);
    TextNotes(TextNotes&& other) noexcept;
    TextNotes& operator=(const TextNotes& other);
    TextNotes& operator=(TextNotes&& other) noexcept;
    ~TextNotes();

    // Appends a note to be shown in front of (behind) the table; returns 0.
    int addPreTableNote(const std::string& text);
    int addPostTableNote(const std::string& text);

    // With notes of that kind: replaces `out` by them, in order of adding, and returns true. Without
    // any: returns false and leaves `out` alone.
    bool getPreTableNotes(std::vector<std::string>& out) const;
    bool getPostTableNotes(std::vector<std::string>& out) const;

  private:
    // Appends `text` under `location`, creating the entry on first use. A location above 1 logs
    // "WARNING: Couldn't set text to be displayed\n" and stores the note all the same. Returns 0.
    int addNote_i(TextLocation location, const std::string& text);
    bool getNotes_i(TextLocation location, std::vector<std::string>& out) const;

    std::map<TextLocation, std::vector<std::string>> notes;
};

}  // namespace pwr
