#pragma once

// The slot of a virtual operation in its class's table, read from a pointer to member under the Itanium
// C++ ABI (the ABI of every Linux x86-64 compiler): the pointer's first word is 1 plus the byte offset of
// the slot. Classes that plug-ins derive from across a module boundary have a fixed slot order, and
// these tests hold the headers to it.

#include <cstddef>
#include <cstring>

namespace vrtest {

template <typename MemberFunction>
std::ptrdiff_t virtualSlot(MemberFunction function) {
    static_assert(sizeof(function) == 2 * sizeof(std::ptrdiff_t), "Itanium pointer to member expected");
    std::ptrdiff_t words[2];
    std::memcpy(words, &function, sizeof(words));
    // An even first word is a plain function address: the operation isn't virtual.
    return (words[0] & 1) ? static_cast<std::ptrdiff_t>((words[0] - 1) / sizeof(void*)) : -1;
}

}  // namespace vrtest
