// What tells threads from one another where asking for their number would cost too much.
#pragma once

namespace ombrel {

/// Its address is the thread's own for as long as it lives.
inline thread_local char thread_mark;

} // namespace ombrel
