// What files, their numbers and children are on Windows alone.
#if defined(_WIN32)

#include <cstring>
#include <vector>

#include <fcntl.h>
#include <io.h>

#include "platform/process_support.h"
#include "platform/seam_support.h"
#include "platform/windows/descriptor.h"
#include "platform/windows/path_handle.h"
#include "platform/windows/reparse_text.h"
#include "support/replaced_import.h"
#include "support/scratch_directory.h"

#include <winioctl.h> // leans on those of the system above

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

TEST_F(WindowsFiles, AreInheritedByAnyNumber) {
    std::vector<owned> all;
    for (int i = 0; i < 8; i++) {
        file_access access = creating;
        access.inherit = true;
        all.push_back(open(path_, access));
        DWORD flags = 0;
        EXPECT_TRUE(GetHandleInformation(platform::handle_of(all.back()), &flags));
        EXPECT_EQ(DWORD{HANDLE_FLAG_INHERIT}, flags & HANDLE_FLAG_INHERIT) << i;
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
    for (const char* const start : {"d\\", "d", "\\", ".\\"}) {
        const platform::wide_path path_from_here((start + std::string(200, 'x')).c_str());
        EXPECT_EQ(*start != '\\', wcsncmp(path_from_here.get(), LR"(\\?\)", 4) == 0) << start;
    }
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

/// A link as the file system keeps it.
struct played_link {
    uint32_t tag;
    uint16_t size, unused, target_offset, target_size, shown_offset, shown_size;
    wchar_t texts[24];
} link_record;
DWORD link_size;

BOOL WINAPI tell_link(HANDLE, DWORD code, void*, DWORD, void* record, DWORD room, DWORD* size, OVERLAPPED*) {
    EXPECT_TRUE(code == FSCTL_GET_REPARSE_POINT && room >= link_size);
    memcpy(record, &link_record, link_size);
    *size = link_size;
    return link_size != 0;
}

// As not every host that plays Windows keeps any.
TEST(WindowsLinks, JunctionsAndLinksSayWhereTheyLead) {
    const replaced_import read("kernel32.dll", "DeviceIoControl", tell_link);
    constexpr uint32_t junction = IO_REPARSE_TAG_MOUNT_POINT, symbolic = IO_REPARSE_TAG_SYMLINK;
    constexpr uint16_t all = sizeof link_record;
    const struct {
        played_link record;
        uint16_t size;
        const char* text; ///< null for none
    } table[] = {
        {{junction, 0, 0, 0, 18, 18, 10,
          LR"(\??\C:\ab)"
          L"C:\\ab"},
         all,
         R"(C:\ab)"},
        {{junction, 0, 0, 0, 18, 18, 0, LR"(\??\C:\ab)"}, all, R"(C:\ab)"},
        {{junction, 0, 0, 0, 8, 0, 0, LR"(\??\C:\ab)"}, all, ""},
        {{symbolic, 0, 0, 0, 6, 6, 4, L"\0\1a\\bc\u00e4"}, all, "c\xc3\xa4"},
        {{symbolic, 0, 0, 0, 0, 0, 0, L""}, all, ""},
        {{junction, 0, 0, 0, 18, 18, 10,
          LR"(\??\C:\ab)"
          L"C:\\ab"},
         16 + 27,
         nullptr},
        {{symbolic, 0, 0, 0, 0, 0, 49, L""}, all, nullptr},
        {{junction, 0, 0, 0, 0, 0xFFFF, 0xFFFF, L""}, all, nullptr},
        {{IO_REPARSE_TAG_DEDUP, 0, 0, 0, 4, 0, 0, L"ab"}, all, nullptr},
        {{junction, 0, 0, 0, 0, 0, 0, L""}, 15, nullptr},
        {{}, 0, nullptr},
    };
    for (const auto& one : table) {
        link_record = one.record;
        link_size = one.size;
        errno = 0;
        EXPECT_STREQ(one.text, platform::reparse_text(nullptr).get()) << &one - table;
        EXPECT_EQ(one.text == nullptr, last_code() == fault_code::invalid) << &one - table;
    }
}

// What is synchronised with elsewhere, compressed or started by another name is what it seems to be.
TEST(WindowsLinks, AreNamesThatLeadElsewhere) {
    const struct {
        DWORD attributes, tag;
        bool is_link;
    } table[] = {
        {FILE_ATTRIBUTE_DIRECTORY, 0, false},
        {FILE_ATTRIBUTE_NORMAL, IO_REPARSE_TAG_SYMLINK,
         false}, // no reparse point: another's word stands there
        {FILE_ATTRIBUTE_REPARSE_POINT, IO_REPARSE_TAG_SYMLINK, true},
        {FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY, IO_REPARSE_TAG_MOUNT_POINT, true},
        {FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY, 0xA000001D,
         true},                                                             // of the system for Linux
        {FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY, 0, true}, // wine's
        {FILE_ATTRIBUTE_REPARSE_POINT, IO_REPARSE_TAG_DEDUP, false},
        {FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY, 0x9000101A, false}, // in a cloud
        {FILE_ATTRIBUTE_REPARSE_POINT, 0x8000001B, false},                            // starts a program
    };
    for (const auto& one : table)
        EXPECT_EQ(one.is_link, platform::leads_elsewhere(one.attributes, one.tag)) << &one - table;
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
