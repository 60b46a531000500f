// The process environment. The platform does not guard it against changes by other threads.
#pragma once

namespace ombrel::platform {

/// The array of assignments "NAME=text", ended by a null pointer.
char** environment();

/// The value of a variable, null when it is not set; valid until the variable changes.
const char* environment_variable(const char* name);

/// The same, but null in a program that runs with more rights than whoever started it and set the variable.
const char* trusted_environment_variable(const char* name);

/// Sets a variable to a copy of `value`: 0, or -1 with its fault, as for a name that is empty or has a "=".
int set_environment_variable(const char* name, const char* value);

/// What the host's putenv() does with a text that is no "NAME=text", and its result.
int put_environment(const char* text);

} // namespace ombrel::platform
