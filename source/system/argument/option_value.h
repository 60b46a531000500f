// The values of options as texts.
#pragma once

#include <ombrel/argument.h>

namespace ombrel::system {

enum class value_outcome { good, bad, out_of_range };

/// Reads a text as the value of an option into its target; the kind must be one that has typed values.
value_outcome read_option_value(const ombrel_argument_option_t& option, const char* text, void* target);

/// Whether the kind has values that read_option_value() knows.
bool has_typed_value(int kind);

/// What values of a kind are called ("number"); null for texts.
const char* value_noun(int kind);

} // namespace ombrel::system
