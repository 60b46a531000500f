// Double arithmetic that gives the same digits on every processor.
#pragma once

#include <cfloat>

namespace ombrel {

/// Rounds an intermediate result to a double where the processor keeps more of it than that.
inline double plain_double(double value) {
#if defined(FLT_EVAL_METHOD) && FLT_EVAL_METHOD != 0
    volatile double stored = value;
    return stored;
#else
    return value;
#endif
}

} // namespace ombrel
