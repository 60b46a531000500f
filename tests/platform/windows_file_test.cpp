// What files, their numbers and children are on Windows alone.
#if defined(_WIN32)

#include <cstring>
#include <vector>

#include <fcntl.h>
#include <io.h>

#include "platform/process_support.h"
#include "platform/seam_support.h"
#include "platform/windows/descriptor.h"
#include "support/scratch_directory.h"

using namespace ombrel_test;
using platform::file_access;

namespace {

constexpr file_access reading{true, false, false, false, false, false};
constexpr file_access creating{true, true, false, true, false, true};

class WindowsFiles : public ::testing::Test {
protected:
    owned open(const std::string& path, const file_access& access = creating) const {
        return owned(platform::open_file(path.c_str(), access));
    }

    static std::string text_of(int file) {
        char bytes[8];
        const int size = platform::read_descriptor(file, bytes, sizeof bytes);
        return size > 0 ? std::string(bytes, static_cast<size_t>(size)) : "";
    }

    const scratch_directory folder_;
    const std::string path_ = folder_ / "\xC3\xA4.txt";
};

TEST_F(WindowsFiles, NumbersAreNeverThoseOfSockets) {
    std::vector<owned> all;
    for (int i = 0; i < 20; i++) {
        all.push_back(open(path_));
        pipe_ends ends = open_pipe();
        all.push_back(std::move(ends.reader));
        all.push_back(std::move(ends.writer));
        all.push_back(owned(platform::duplicate_descriptor(all.front())));
    }
    for (const owned& one : all) {
        EXPECT_NE(0, one % 4);
        DWORD flags = 1;
        EXPECT_TRUE(GetHandleInformation(platform::handle_of(one), &flags));
        EXPECT_EQ(0u, flags & HANDLE_FLAG_INHERIT);
    }
}

TEST_F(WindowsFiles, ForeignNumbersAreAsked) {
    folder_.write("foreign", "text");
    std::vector<int> foreign;
    for (int i = 0; i < 5; i++)
        foreign.push_back(_wopen(wide(folder_ / "foreign").c_str(), _O_RDONLY | _O_BINARY));
    for (const int one : foreign) {
        char bytes[4];
        file_access access;
        EXPECT_EQ(4, platform::read_descriptor(one, bytes, 4)) << one;
        EXPECT_TRUE(platform::get_file_access(one, access) && access.read && !access.write);
        EXPECT_EQ(4, platform::file_size(one));
        EXPECT_EQ(-1, platform::write_file(one, "x", 1));
        EXPECT_EQ(fault_code::bad_descriptor, last_code());
        platform::close_descriptor(one);
        EXPECT_FALSE(platform::is_open_descriptor(one));
    }
}

TEST_F(WindowsFiles, AreSharedWithAll) {
    const owned first = open(path_), second = open(path_, {true, true, true, false, false, false});
    EXPECT_EQ(3, platform::write_file(first, "one", 3));
    EXPECT_EQ(3, platform::write_file(second, "two", 3));
    EXPECT_EQ("onetwo", folder_.read("\xC3\xA4.txt"));
    const std::wstring moved = wide(folder_ / "moved");
    EXPECT_TRUE(MoveFileExW(wide(path_).c_str(), moved.c_str(), 0)) << "while it is open";
    EXPECT_TRUE(DeleteFileW(moved.c_str())) << "while it is open";
    char bytes[3];
    EXPECT_EQ(0, platform::move_file(first, 0, platform::file_origin::start));
    EXPECT_EQ(3, platform::read_descriptor(first, bytes, 3));
}

TEST_F(WindowsFiles, WhatIsHeldByOthersIsBusy) {
    folder_.write("held", "text");
    HANDLE const held =
        CreateFileW(wide(folder_ / "held").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(-1, open(folder_ / "held", reading));
    EXPECT_EQ(fault_code::busy, last_code());
    CloseHandle(held);
}

TEST_F(WindowsFiles, AppendingFindsTheEndInOneStep) {
    const owned first = open(path_, {false, true, true, true, false, false}),
                copy(platform::duplicate_descriptor(first)),
                other = open(path_, {false, true, true, false, false, false});
    for (int i = 0; i < 3; i++)
        for (const int one : {static_cast<int>(first), static_cast<int>(copy), static_cast<int>(other)})
            EXPECT_EQ(1, platform::write_file(one, &"abc"[i], 1));
    EXPECT_EQ("aaabbbccc", folder_.read("\xC3\xA4.txt"));
}

TEST_F(WindowsFiles, PathsMayBeLongAndHaveEitherSeparator) {
    std::string folder = folder_.path();
    for (int i = 0; i < 10; i++)
        CreateDirectoryW((LR"(\\?\)" + wide(folder += "\\" + std::string(40, 'd'))).c_str(), nullptr);
    std::string path = folder + "\\file";
    for (char& each : path)
        each = each == '\\' ? '/' : each;
    EXPECT_EQ(4, platform::write_file(open(path), "long", 4));
    EXPECT_TRUE(platform::file_exists((folder + "\\file").c_str()));
    EXPECT_EQ(-1, open(folder, reading));
    EXPECT_EQ(fault_code::is_directory, last_code());
    wchar_t before[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, before);
    EXPECT_TRUE(SetCurrentDirectoryW(wide(folder.substr(0, folder_.path().size() + 3 * 41)).c_str()));
    EXPECT_EQ("long", text_of(open(folder.substr(folder_.path().size() + 3 * 41 + 1) + "\\file", reading)))
        << "not long by itself";
    SetCurrentDirectoryW(before);
    // Where the suite removes it, the limit holds.
    for (DeleteFileW((LR"(\\?\)" + wide(folder + "\\file")).c_str()); folder.size() > folder_.path().size();
         folder.resize(folder.rfind('\\')))
        RemoveDirectoryW((LR"(\\?\)" + wide(folder)).c_str());
}

TEST_F(WindowsFiles, ReservedNamesAreDevices) {
    const owned nothing = open("NUL", {true, true, false, false, false, false}), made = open("nul");
    char byte;
    for (const int one : {static_cast<int>(nothing), static_cast<int>(made)}) {
        EXPECT_EQ(1, platform::write_file(one, "x", 1));
        EXPECT_EQ(0, platform::read_descriptor(one, &byte, 1));
        EXPECT_FALSE(platform::is_regular_file(one));
        EXPECT_EQ(-1, platform::file_size(one));
        EXPECT_TRUE(platform::sync_file(one));
    }
}

TEST_F(WindowsFiles, NamesThatAreNoUtf8AreInvalid) {
    EXPECT_EQ(-1, open(folder_ / "\xFF\xFE"));
    EXPECT_EQ(fault_code::invalid, last_code());
}

TEST(WindowsProcess, InheritsItsStreamsAlone) {
    std::vector<HANDLE> handles;
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    for (int i = 0; i < 200; i++) // so that the child itself has none of the last number
        handles.push_back(CreateEventW(&inherited, TRUE, FALSE, nullptr));
    const std::string number = std::to_string(reinterpret_cast<uintptr_t>(handles.back()));
    const char* const arguments[] = {OMBREL_TEST_CHILD, "handle", number.c_str(), nullptr};
    const int process = start_child(arguments);
    platform::process_end end{-7, -7};
    EXPECT_TRUE(holds_soon([&] { return platform::collect_process(process, end); }));
    EXPECT_EQ(0, end.exit_code);
    for (HANDLE const one : handles)
        CloseHandle(one);
}

TEST(WindowsProcess, LeavesNoHandlesBehind) {
    const auto run = [] {
        pipe_ends output = open_pipe();
        const int process = start_child("exit 3", -1, output.writer);
        const owned watch(platform::open_process(process));
        platform::process_end end{-7, -7};
        EXPECT_EQ(platform::poll_read, poll_once(watch, platform::poll_read, patience_ms));
        EXPECT_TRUE(platform::collect_process(process, end));
        EXPECT_EQ(3, end.exit_code);
    };
    const auto count = [] {
        DWORD result = 0;
        GetProcessHandleCount(GetCurrentProcess(), &result);
        return result;
    };
    for (int i = 0; i < 3; i++)
        run(); // what is made once
    const DWORD before = count();
    for (int i = 0; i < 20; i++)
        run();
    EXPECT_GE(before + 5, count()) << "threads that wait come and go";
}

TEST(WindowsProcess, ScriptsNeedTheInterpreter) {
    const scratch_directory folder;
    const std::string script = folder.file("a.bat", "@exit 4\r\n");
    const char* const arguments[] = {script.c_str(), nullptr};
    EXPECT_EQ(-1, start_child(arguments));
    EXPECT_EQ(fault_code::invalid, last_code());
    const int process = start_child("\"" + script + "\"");
    platform::process_end end{-7, -7};
    EXPECT_TRUE(holds_soon([&] { return platform::collect_process(process, end); }));
    EXPECT_EQ(4, end.exit_code);
}

} // namespace

#endif
