// Who called: what the heap is told and reports name.
#pragma once

namespace ombrel {

struct call_site {
    const char* tag; ///< the function's name, which lives as long as the program
    unsigned long line;
};

} // namespace ombrel
