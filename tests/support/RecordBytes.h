#pragma once

// Stored records as bytes, for the tests of the record readers: what a record writes, and what reads
// back from the first `length` bytes of such a form.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "vantrell/record/Metadata.h"
#include "vantrell/record/Serializer.h"

namespace vrtest {

inline std::vector<char> bytesOf(const pwr::Metadata& record) {
    pwr::Serializer out;
    record.serialize(out);
    return out.get_buffer();
}

// Null when the record doesn't read.
inline std::unique_ptr<pwr::Metadata> readRecord(const std::vector<char>& bytes, size_t length = SIZE_MAX) {
    pwr::Serializer in(
        std::vector<char>(bytes.begin(), bytes.begin() + static_cast<long>(std::min(length, bytes.size()))));
    return std::unique_ptr<pwr::Metadata>(pwr::Metadata::deserialize(in, 0));
}

}  // namespace vrtest
