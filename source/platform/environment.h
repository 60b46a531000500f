// The process environment. The platform does not guard it against changes by other threads.
#pragma once

#include <cstdlib>

namespace ombrel::platform {

/// The array of assignments "NAME=text", ended by a null pointer.
char** environment();

/// A variable's value, for as long as the object lives and nobody changes the variable.
class variable_text {
public:
    /// @param value null for a variable that is not set
    /// @param copy  null, or what is to be freed with the object
    variable_text(const char* value, char* copy) : value_(value), copy_(copy) {}
    ~variable_text() { free(copy_); }
    variable_text(const variable_text&) = delete;
    variable_text& operator=(const variable_text&) = delete;

    /// Null when it is not set, or no memory was left for a copy.
    const char* get() const { return value_; }

private:
    const char* value_;
    char* copy_;
};

variable_text environment_variable(const char* name);

/// The same, but null in a program that runs with more rights than whoever started it and set the variable.
variable_text trusted_environment_variable(const char* name);

/// Sets a variable to a copy of `value`: 0, or -1 with its fault, as for a name that is empty or has a "=".
int set_environment_variable(const char* name, const char* value);

/// What the host's putenv() does with a text that is no "NAME=text", and its result.
int put_environment(const char* text);

} // namespace ombrel::platform
