// The end of a program's output.
#pragma once

namespace ombrel::system {

/// Keeps why a write to standard output failed just now, which later ones may not tell.
void note_failed_output();

/// Sees that all of standard output is out. False when it is not, after a complaint that begins with the
/// program's name; it is made once, and there is none for a reader who has gone.
bool finish_program_output(const char* name);

} // namespace ombrel::system
