// Bytes of terminals as keys.
#include <string>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/terminal_key.h>

namespace {

std::string name_of(const ombrel_key_t& key) {
    char name[48];
    ombrel_format_key(name, sizeof name, &key);
    return ((key.m_modifiers & def_ombrel_key_pasted) != 0 ? "*" : "") + std::string(name);
}

/// The keys by name, each with a space behind it, from pieces of a size; nothing follows the last.
std::string decode(const std::string& bytes, size_t piece, uint8_t backspace = 127) {
    ombrel_key_decoder_t decoder;
    EXPECT_EQ(0, ombrel_init_key_decoder(&decoder));
    decoder.m_backspace = backspace;
    std::string names;
    ombrel_key_t key;
    for (size_t start = 0; start < bytes.size(); start += piece) {
        const void* data = bytes.data() + start;
        size_t size = std::min(piece, bytes.size() - start);
        while (ombrel_key_decoder_take(&decoder, &data, &size, &key) == 1)
            names += name_of(key) + " ";
        EXPECT_EQ(0u, size);
    }
    while (ombrel_key_decoder_flush(&decoder, &key) == 1)
        names += name_of(key) + " ";
    EXPECT_EQ(0, ombrel_key_decoder_is_waiting(&decoder));
    return names;
}

struct typed {
    std::string bytes;
    const char* names;
};

void expect(const typed& one, uint8_t backspace = 127) {
    for (const size_t piece : {size_t{1}, size_t{2}, size_t{3}, size_t{1000}})
        EXPECT_EQ(one.names, decode(one.bytes, piece, backspace))
            << ::testing::PrintToString(one.bytes) << piece;
}

} // namespace

TEST(TerminalKey, SequencesOfTerminalsAreKeys) {
    const typed table[] = {
        {"aZ \t\r", "a Z Space Tab Enter "},
        {std::string("\x01\x1a\0\x1c\x1f\n\x08\x7f", 8),
         "Ctrl+A Ctrl+Z Ctrl+Space Ctrl+\\ Ctrl+_ Ctrl+J Ctrl+H Backspace "},
        {"\xc3\xa9\xe2\x82\xac\xf0\x9f\x99\x82\x1b\xc3\xa9", "é € 🙂 Alt+é "},
        {"\x1b[A\x1bOB\x1b[1;5C\x1b[1;4D\x1bOa\x1b[b",
         "Up Down Ctrl+Right Alt+Shift+Left Ctrl+Up Shift+Down "},
        {"\x1b[H\x1bOF\x1b[1~\x1b[8~\x1b[7;3~\x1b[E", "Home End Home End Alt+Home Begin "},
        {"\x1b[2~\x1b[3;5~\x1b[5~\x1b[6~\x1b[3$\x1b[3^\x1b[3@",
         "Insert Ctrl+Delete Page Up Page Down Shift+Delete Ctrl+Delete Ctrl+Shift+Delete "},
        {"\x1bOP\x1b[[E\x1b[11~\x1b[15;2~\x1b[24~\x1b[34~\x1b[1;2S\x1bO5Q\x1b[57398u",
         "F1 F5 F1 Shift+F5 F12 F20 Shift+F4 Ctrl+F2 F35 "},
        {"\x1bOM\x1bOp\x1bOk\x1b[Z\x1b[1;33A", "Enter 0 + Shift+Tab Meta+Up "},
        {"\x1b[97;5u\x1b[97:65;2u\x1b[27;5;13~\x1b[97;1:3u\x1b[127;5u\x1b[57344u",
         "Ctrl+A Shift+a Ctrl+Enter Ctrl+Backspace Unknown "},
        {"\x1bx\x1b\r\x1b\x7f\x1b\x1b[A\x1b\x1bOA", "Alt+x Alt+Enter Alt+Backspace Alt+Up Alt+Up "},
        {"\x1b", "Escape "},
        {"\x1b\x1b", "Alt+Escape "},
        {"\x1b\x1b\x1bq", "Alt+Escape Alt+q "},
        {"\x1b[", "Alt+[ "},
        {"\x1bOz\x1bO", "Alt+O z Alt+O "},
        {"\x1b[I\x1b[O", "Focus In Focus Out "},
    };
    for (const typed& one : table)
        expect(one);
    expect({"\x08\x7f\x1b\x08", "Backspace Backspace Alt+Backspace "}, 8);
}

TEST(TerminalKey, WhatIsNoKeyIsToldOnceAndTakesNothingAlong) {
    const std::string much(100, '1');
    const typed table[] = {
        {"\x1b[1;\x03q", "Unknown Ctrl+C q "}, // broken off by a key
        {"\x1b[?1;2c\x1b[9~\x1b[~\x1b[1;2;3;4;5Ax", "Unknown Unknown Unknown Unknown x "},
        {"\x1b[" + much + "~x", "Unknown x "}, // longer than what is held
        {"\x1b[" + much + "\x1b[A", "Unknown Up "},
        {"\x1b[" + much, "Unknown "},
        {"\x1b[99999999999999999999;5Ax", "Unknown x "},
        {"\xc3(\xff\xc0\x80z", "U+FFFD ( U+FFFD U+FFFD U+FFFD z "},
        {"\xe0\x80\xed\xa0\x80\xf4\x90\xe2\x82", "U+FFFD U+FFFD U+FFFD U+FFFD U+FFFD U+FFFD U+FFFD U+FFFD "},
        {"\x1b[[Z\x1b[[\x04\x1bO55P", "Unknown Unknown Ctrl+D Unknown "},
    };
    for (const typed& one : table) {
        std::string names = one.names;
        for (size_t at; (at = names.find("U+FFFD")) != names.npos;)
            names.replace(at, 6, "\xef\xbf\xbd");
        expect({one.bytes, names.c_str()});
    }
}

TEST(TerminalKey, PastesAreTextWhateverTheyHold) {
    expect({"\x1b[200~a\x1b[A\r\x03\x1b[20x\x1b[201x\x1b[201~b",
            "Paste Begin *a *Escape *[ *A *Enter *U+0003 *Escape *[ *2 *0 *x *Escape *[ *2 *0 *1 *x Paste "
            "End b "});
    // The end is waited for as long as it takes.
    ombrel_key_decoder_t decoder;
    ombrel_init_key_decoder(&decoder);
    const void* data = "\x1b[200~\x1b[20";
    size_t size = 10;
    ombrel_key_t key;
    EXPECT_EQ(1, ombrel_key_decoder_take(&decoder, &data, &size, &key));
    EXPECT_EQ(0, ombrel_key_decoder_take(&decoder, &data, &size, &key));
    EXPECT_EQ(0, ombrel_key_decoder_is_waiting(&decoder));
    EXPECT_EQ(0, ombrel_key_decoder_flush(&decoder, &key));
    data = "1~";
    size = 2;
    EXPECT_EQ(1, ombrel_key_decoder_take(&decoder, &data, &size, &key));
    EXPECT_EQ("Paste End", name_of(key));
}

TEST(TerminalKey, NamesAreCutToFitAndNonsenseIsRefused) {
    char name[6];
    ombrel_key_t key = {def_ombrel_key_function(12), def_ombrel_key_alt | def_ombrel_key_control};
    EXPECT_EQ(5, ombrel_format_key(name, sizeof name, &key));
    EXPECT_STREQ("Ctrl+", name);
    EXPECT_EQ(0, ombrel_format_key(nullptr, 0, &key));
    key = {0xad, 0};
    EXPECT_EQ("U+00AD", name_of(key));
    const void* data = nullptr;
    size_t size = 1;
    ombrel_key_decoder_t decoder;
    ombrel_init_key_decoder(&decoder);
    for (const int result : {ombrel_format_key(nullptr, 1, &key), ombrel_format_key(name, 6, nullptr),
                             ombrel_init_key_decoder(nullptr), ombrel_key_decoder_flush(nullptr, &key),
                             ombrel_key_decoder_take(&decoder, &data, &size, &key)}) {
        EXPECT_EQ(-1, result);
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
}
