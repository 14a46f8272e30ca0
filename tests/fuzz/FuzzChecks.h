#pragma once
// What the fuzz targets share: a failed property stops the run with its name.
#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline void require(bool ok, const char* property)
{
    if (!ok) {
        std::fprintf(stderr, "property broken: %s\n", property);
        std::abort();
    }
}

} // namespace fuzz
