// Files, pipes, paths and terminals.
#include <algorithm>
#include <cstring>
#include <thread>

#include "platform/path.h"
#include "platform/seam_support.h"
#include "platform/send_file.h"
#include "platform/system.h"
#include "platform/terminal.h"
#include "support/scratch_directory.h"

using namespace ombrel_test;
using platform::file_access;
using platform::file_origin;

namespace {

constexpr file_access reading{true, false, false, false, false, false};
constexpr file_access writing{false, true, false, false, false, false};

class Files : public ::testing::Test {
protected:
    std::string path(const char* name) const { return folder_ / name; }
    void make(const char* name, const std::string& text) const {
        const owned file(platform::open_file(path(name).c_str(), {false, true, false, true, false, true}));
        EXPECT_EQ(static_cast<int>(text.size()), platform::write_file(file, text.data(), text.size()));
    }
    std::string content(const char* name) const {
        const platform::file_reader file(path(name).c_str());
        std::string text;
        char part[7];
        for (int got; (got = static_cast<int>(file.read(part, sizeof part))) > 0;)
            text.append(part, static_cast<size_t>(got));
        return file.is_open() ? text : "(none)";
    }

    const scratch_directory folder_;
};

TEST_F(Files, OpenAsTheirAccessSays) {
    constexpr fault_code none = fault_code::none, missing = fault_code::not_found;
    const struct {
        file_access access;
        const char *there, *absent; ///< content after "XY" was written; null where opening is refused
        fault_code there_fault, missing_fault;
    } cases[] = {
        {writing, "XYc\r\n", nullptr, none, missing},
        {{true, true, false, false, false, false}, "XYc\r\n", nullptr, none, missing},
        {{false, true, true, false, false, false}, "abc\r\nXY", nullptr, none, missing},
        {{false, true, false, false, false, true}, "XY", nullptr, none, missing},
        {{false, true, false, true, false, false}, "XYc\r\n", "XY", none, none},
        {{false, true, true, true, false, false}, "abc\r\nXY", "XY", none, none},
        {{true, true, false, true, true, false}, nullptr, "XY", fault_code::exists, none},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(&one - cases);
        for (const bool is_there : {true, false}) {
            remove_all(path("f"));
            if (is_there)
                make("f", "abc\r\n");
            const owned file(platform::open_file(path("f").c_str(), one.access));
            const char* const expected = is_there ? one.there : one.absent;
            ASSERT_EQ(expected != nullptr, file >= 0);
            if (file < 0) {
                EXPECT_EQ(is_there ? one.there_fault : one.missing_fault, last_code());
                continue;
            }
            EXPECT_TRUE(platform::is_regular_file(file));
            file_access given{};
            EXPECT_TRUE(platform::get_file_access(file, given));
            EXPECT_EQ(std::make_tuple(one.access.read, one.access.write, one.access.append),
                      std::make_tuple(given.read, given.write, given.append));
            EXPECT_EQ(2, platform::write_file(file, "XY", 2));
            char byte;
            if (!one.access.read) {
                EXPECT_EQ(-1, platform::read_descriptor(file, &byte, 1));
            }
            EXPECT_EQ(expected, content("f"));
        }
    }
    make("f", "text");
    const owned reader(platform::open_file(path("f").c_str(), reading));
    EXPECT_EQ(-1, platform::write_file(reader, "X", 1));
    EXPECT_EQ(-1, platform::open_file(folder_.path().c_str(), reading));
    EXPECT_EQ(fault_code::is_directory, last_code());
    EXPECT_TRUE(platform::file_exists(folder_.path().c_str()) && platform::file_exists(path("f").c_str()));
    EXPECT_FALSE(platform::file_exists(path("g").c_str()));
}

TEST_F(Files, HavePositionsAndSizesOf64Bits) {
    make("f", "0123456789");
    const owned file(platform::open_file(path("f").c_str(), {true, true, false, false, false, false}));
    const struct {
        int64_t offset;
        file_origin origin;
        int64_t position;
    } moves[] = {{4, file_origin::start, 4}, {3, file_origin::current, 7}, {-2, file_origin::current, 5},
                 {-1, file_origin::end, 9},  {-1, file_origin::start, -1}, {0, file_origin::current, 9},
                 {5, file_origin::end, 15},  {-20, file_origin::end, -1},  {0, file_origin::start, 0}};
    for (const auto& one : moves)
        EXPECT_EQ(one.position, platform::move_file(file, one.offset, one.origin)) << one.offset;
    EXPECT_TRUE(platform::set_file_size(file, 4));
    EXPECT_EQ("0123", content("f"));
    EXPECT_TRUE(platform::set_file_size(file, 6));
    EXPECT_EQ(std::string("0123\0\0", 6), content("f"));
    constexpr int64_t distant = (int64_t{5} << 30) + 1;
    EXPECT_TRUE(platform::set_file_size(file, distant));
    EXPECT_EQ(distant, platform::file_size(file));
    EXPECT_EQ(distant - 1, platform::move_file(file, -1, file_origin::end));
    char byte = 'x';
    EXPECT_EQ(1, platform::read_descriptor(file, &byte, 1));
    EXPECT_EQ('\0', byte);
    EXPECT_EQ(0, platform::read_descriptor(file, &byte, 1)) << "the end";
    EXPECT_TRUE(platform::set_file_size(file, 0) && platform::sync_file(file));

    EXPECT_TRUE(platform::set_file_append(file));
    platform::write_file(file, "one", 3);
    platform::move_file(file, 0, file_origin::start);
    platform::write_file(file, "two", 3);
    EXPECT_EQ("onetwo", content("f"));
    owned copy(platform::duplicate_descriptor(file));
    EXPECT_NE(static_cast<int>(file), copy);
    platform::move_file(copy, 1, file_origin::start);
    EXPECT_EQ(1, platform::move_file(file, 0, file_origin::current)) << "one position for both";
    copy.close();
    EXPECT_TRUE(platform::is_open_descriptor(file));
    const platform::file_reader from_end(path("f").c_str());
    char last[3];
    EXPECT_TRUE(from_end.seek(-3) && from_end.read(last, 3) == 3 && last[0] == 't');
    EXPECT_FALSE(platform::file_reader(path("missing").c_str()).is_open());
    EXPECT_FALSE(platform::file_reader(nullptr).is_open());
}

/// By hosts that can, and by those that say that they cannot.
TEST_F(Files, GoToSocketsWithoutACopy) {
    make("file", "0123456789");
    const owned file(platform::open_file_for_reading(path("file").c_str()));
    connected_pair pair = connect_pair();
    char text[16];
    platform::set_non_blocking(pair.client, true);
    const int sent = platform::send_file(pair.client, "head", file, 3, 5);
    if (sent == -1 && last_code() == fault_code::not_supported)
        GTEST_SKIP() << "this host does not send files";
    ASSERT_EQ(9, sent);
    EXPECT_EQ(9, platform::receive(pair.server, text, sizeof text, 0, nullptr, nullptr));
    EXPECT_EQ(0, memcmp(text, "head34567", 9));
    EXPECT_EQ(0, platform::send_file(pair.client, {}, file, 10, 5));
    EXPECT_EQ(0, platform::move_file(file, 0, file_origin::current)) << "its position stays";
    ASSERT_TRUE(
        platform::set_file_size(owned(platform::open_file(path("file").c_str(), writing)), 100000000));
    int64_t all = 0;
    for (int more; (more = platform::send_file(pair.client, {}, file, all, 100000000)) > 0;)
        all += more;
    EXPECT_EQ(fault_code::would_block, last_code());
    pair.server = owned(-1);
    while (platform::send_file(pair.client, {}, file, 0, 10) >= 0 || last_code() == fault_code::would_block)
        std::this_thread::yield();
    EXPECT_TRUE(last_code() == fault_code::closed || last_code() == fault_code::reset) << "and no signal";
}

TEST(Pipes, GiveWhatWasWrittenAndThenTheEnd) {
    pipe_ends ends = open_pipe();
    char text[8];
    file_access access{};
    EXPECT_TRUE(platform::get_file_access(ends.reader, access) && access.read && !access.write);
    EXPECT_TRUE(platform::get_file_access(ends.writer, access) && !access.read && access.write);
    EXPECT_FALSE(platform::is_regular_file(ends.reader));
    EXPECT_EQ(-1, platform::file_size(ends.reader));
    EXPECT_EQ(-1, platform::move_file(ends.reader, 0, file_origin::start));
    EXPECT_EQ(fault_code::not_seekable, last_code());
    EXPECT_TRUE(platform::sync_file(ends.writer)) << "it has no device";
    EXPECT_FALSE(platform::is_terminal(ends.reader));

    std::thread writer([&] {
        platform::sleep_milliseconds(20);
        EXPECT_EQ(3, platform::write_descriptor(ends.writer, "one", 3));
    });
    EXPECT_EQ(3, platform::read_descriptor(ends.reader, text, sizeof text)) << "which waits";
    writer.join();
    EXPECT_EQ(-1, platform::read_at_once(ends.reader, text, sizeof text));
    EXPECT_EQ(fault_code::would_block, last_code());
    EXPECT_EQ(3, platform::write_at_once(ends.writer, "two", 3));
    EXPECT_EQ(2, platform::read_at_once(ends.reader, text, 2));
    EXPECT_EQ(1, platform::read_at_once(ends.reader, text, sizeof text));
    ends.writer.close();
    EXPECT_EQ(0, platform::read_at_once(ends.reader, text, sizeof text));
    EXPECT_EQ(0, platform::read_descriptor(ends.reader, text, sizeof text));
}

TEST(Pipes, AFullOneAndALostReaderStopNobody) {
    for (const bool by_mode : {false, true}) {
        pipe_ends ends = open_pipe();
        if (by_mode) {
            platform::set_descriptor_blocking(ends.reader, false);
            platform::set_descriptor_blocking(ends.writer, false);
        }
        const auto write = by_mode ? platform::write_descriptor : platform::write_at_once;
        char byte;
        EXPECT_EQ(-1, (by_mode ? platform::read_descriptor : platform::read_at_once)(ends.reader, &byte, 1));
        EXPECT_EQ(fault_code::would_block, last_code());
        EXPECT_LT(4096u, fill([&](const char* block, size_t size) {
                      return write(ends.writer, block, std::min<size_t>(size, 4096));
                  }));
        ends.reader.close();
        EXPECT_EQ(-1, write(ends.writer, "x", 1)) << "and no signal";
        EXPECT_EQ(fault_code::closed, last_code());
    }
}

TEST(Pipes, ClosedNumbersAreRefused) {
    pipe_ends ends = open_pipe();
    const int gone = ends.reader;
    EXPECT_TRUE(platform::is_open_descriptor(gone));
    ends.reader.close();
    EXPECT_FALSE(platform::is_open_descriptor(gone));
    EXPECT_FALSE(platform::is_open_descriptor(-1));
    char byte;
    file_access access;
    EXPECT_EQ(-1, platform::read_descriptor(gone, &byte, 1));
    EXPECT_EQ(fault_code::bad_descriptor, last_code());
    EXPECT_EQ(-1, platform::duplicate_descriptor(gone));
    EXPECT_FALSE(platform::get_file_access(gone, access));
    EXPECT_FALSE(platform::is_terminal(gone));
    EXPECT_FALSE(platform::is_regular_file(gone));
}

TEST(Paths, TheSeparatorIsOneOfThoseThatSplit) {
    EXPECT_STREQ(separator, platform::path_separator);
}

TEST(Terminals, AreAskedForTheirSizeOnlyWhereTheyAre) {
    int columns = -7, rows = -8;
    if (platform::terminal_size(columns, rows)) {
        EXPECT_TRUE(columns > 0 && rows > 0);
    } else {
        EXPECT_TRUE(columns == -7 && rows == -8);
    }
    EXPECT_EQ(platform::terminal_renders_escapes(), platform::terminal_renders_escapes());
}

} // namespace
