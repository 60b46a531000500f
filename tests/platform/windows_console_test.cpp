// Keys of the console, and consoles that are played, on Windows alone.
#if defined(_WIN32)

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <ombrel/fault.h>
#include <ombrel/pseudo_terminal.h>
#include <ombrel/serial.h>
#include <ombrel/terminal.h>

#include "platform/windows/console_keys.h"

using namespace ombrel;

namespace {

KEY_EVENT_RECORD key(WORD code, wchar_t unit, DWORD modifiers, bool is_down) {
    KEY_EVENT_RECORD result{};
    result.bKeyDown = is_down;
    result.wRepeatCount = 1;
    result.wVirtualKeyCode = code;
    result.uChar.UnicodeChar = unit;
    result.dwControlKeyState = modifiers;
    return result;
}

} // namespace

TEST(WindowsConsole, KeysAreBytesAsTerminalsSendThem) {
    constexpr DWORD second_alt = RIGHT_ALT_PRESSED | LEFT_CTRL_PRESSED;
    const struct {
        WORD code;
        wchar_t unit;
        DWORD modifiers;
        std::string bytes;
        bool is_down = true;
    } table[] = {
        {'A', L'a', 0, "a"},
        {'A', L'A', SHIFT_PRESSED, "A"},
        {'A', L'a', 0, "", false},
        {'A', 1, LEFT_CTRL_PRESSED, "\x01"},
        {'A', L'a', LEFT_ALT_PRESSED,
         "\x1b"
         "a"},
        {'Q', L'@', second_alt, "@"},
        {VK_SPACE, 0, LEFT_CTRL_PRESSED, std::string(1, '\0')},
        {VK_RETURN, L'\r', 0, "\r"},
        {VK_BACK, 8, 0, "\x7f"},
        {VK_BACK, 0x7f, LEFT_CTRL_PRESSED, "\x08"},
        {VK_TAB, L'\t', SHIFT_PRESSED, "\x1b[Z"},
        {VK_ESCAPE, 27, 0, "\x1b"},
        {VK_UP, 0, 0, "\x1b[A"},
        {VK_UP, 0, SHIFT_PRESSED | RIGHT_CTRL_PRESSED, "\x1b[1;6A"},
        {VK_DELETE, 0, LEFT_ALT_PRESSED, "\x1b[3;3~"},
        {VK_F12, 0, 0, "\x1b[24~"},
        {VK_F1, 0, 0, "\x1b[P"},
        {VK_SHIFT, 0, SHIFT_PRESSED, ""},
        {VK_MENU, 0x20ac, 0, "\xe2\x82\xac", false}, // typed by its number
        {VK_PACKET, 0xd83d, 0, ""},
        {VK_PACKET, 0xde42, 0, "\xf0\x9f\x99\x82"},
        {VK_PACKET, 0xde42, 0, "\xef\xbf\xbd"}, // half of one
    };
    wchar_t half = 0;
    for (const auto& one : table) {
        char bytes[platform::most_key_bytes];
        const size_t size =
            platform::put_key(key(one.code, one.unit, one.modifiers, one.is_down), half, bytes);
        EXPECT_EQ(one.bytes, std::string(bytes, size)) << one.code << " " << one.modifiers;
    }
}

TEST(WindowsConsole, WhatTheHostHasNotIsToldSo) {
    ombrel_terminal_pair_t pair;
    EXPECT_EQ(-1, ombrel_init_terminal_pair(&pair));
    EXPECT_EQ(def_ombrel_fault_not_supported, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_open_serial("COM99", nullptr));
    EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
    const auto pass = [](const ombrel_serial_port_t* port, void*) { return port->m_name[0] == '\0' ? 1 : 0; };
    EXPECT_EQ(0, ombrel_walk_serial_ports(pass, nullptr));
}

TEST(WindowsConsole, AProgramInAConsoleShowsItsOutput) {
    if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr)
        GTEST_SKIP() << "wine plays consoles, but its programs do not write to them";
    const char* const arguments[] = {OMBREL_TEST_CHILD, "arguments", "shown", nullptr};
    ombrel_pseudo_terminal_options_t options;
    ombrel_init_pseudo_terminal_options(&options);
    ombrel_pseudo_terminal_t* terminal = ombrel_open_pseudo_terminal(arguments, &options);
    if (terminal == nullptr && ombrel_last_fault() == def_ombrel_fault_not_supported)
        GTEST_SKIP() << "the host plays no consoles";
    ASSERT_NE(nullptr, terminal) << ombrel_fault_text();
    std::string shown;
    char part[512];
    for (int64_t size; shown.find("shown") == shown.npos &&
                       (size = ombrel_pseudo_terminal_read(terminal, part, sizeof part, 20000)) > 0;)
        shown.append(part, static_cast<size_t>(size));
    EXPECT_NE(std::string::npos, shown.find("shown")) << shown;
    EXPECT_EQ(0, ombrel_pseudo_terminal_set_size(terminal, 100, 30));
    ombrel_process_end_t end;
    EXPECT_EQ(1, ombrel_pseudo_terminal_wait(terminal, 20000, &end));
    EXPECT_EQ(0, end.m_exit_code);
    EXPECT_EQ(0, ombrel_close_pseudo_terminal(terminal));
}

#endif
