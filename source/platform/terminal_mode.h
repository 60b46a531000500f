// Modes of terminals, which are given back as they were found, whatever ends the program.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ombrel::platform {

enum class terminal_mode : uint8_t {
    raw,              ///< each key at once, unseen and without a meaning; output as found
    raw_with_signals, ///< but for the keys that make signals
};

/// What sequences switch on, and off again when the terminal is given back.
enum terminal_feature : uint32_t {
    feature_screen = 1,        ///< a screen of its own
    feature_hidden_cursor = 2, ///< no cursor
    feature_pastes = 4,        ///< pastes are told
    feature_focus = 8,         ///< focus is told
    feature_title = 16,        ///< the title that was there before is put aside
    feature_look = 32,         ///< not the terminal's own look; it is switched off only
};

/// Those that are noted as they are drawn, and stay when others change.
inline constexpr uint32_t noted_features = feature_title | feature_look;

/// The sequences that switch features on or off, which take no more than feature_text_size bytes.
inline constexpr size_t feature_text_size = 64;
size_t put_features(uint32_t features, bool on, char* text);

inline constexpr int most_guarded_terminals = 8;

/// Changes a terminal's mode until leave_terminal_mode(). It is given back as it was found, too, at the end
/// of the program, and by a signal that ends or stops it, when the signal's action was the default. Features
/// are switched on as well where there is an output.
/// @param output -1 for a screen that is none or renders no sequences
/// @return a number for the guarded terminal; -1 with its fault, `busy` when there are too many
int enter_terminal_mode(int input, int output, terminal_mode mode, uint32_t features);

/// Changes to another mode and other features. False, with its fault, when the terminal is gone.
bool change_terminal_mode(int guarded, terminal_mode mode, uint32_t features);

/// Notes that the caller switches a feature on or off; whether that changes anything.
bool note_terminal_feature(int guarded, terminal_feature feature, bool on);

/// Gives the terminal back; its number is void, also after a failure.
bool leave_terminal_mode(int guarded);

/// Gives all back, as a signal does. May be called from signal handlers.
void restore_terminals();

/// Whether the program was stopped and goes on since the last question.
bool take_resumption(int guarded);

/// The byte that the key Backspace sends, 127 if nobody has said otherwise.
uint8_t backspace_of(int guarded);

/// Bytes that were typed, at least 1; 0 at the end; -1 with its fault: `timed_out`, and `interrupted` when
/// the size or the mode may have changed.
/// @param guarded -1 for a terminal whose mode is as it was found
/// @param size    at least 64
int read_terminal(int input, int guarded, void* buffer, size_t size, int timeout_milliseconds);

/// Drops what was typed and not read.
void discard_typed(int input);

} // namespace ombrel::platform
