#include <ombrel/file_stream.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#if !defined(_WIN32)
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>
#endif

#include <gtest/gtest.h>

#include <ombrel/heap.h>
#include <ombrel/pipe.h>
#include <ombrel/scan.h>

#include "support/heap_balance.h"
#include "support/heap_block.h"
#include "support/scratch_directory.h"

namespace {

using ombrel_test::scratch_directory;
using std::string;

class FileStream : public ombrel_test::balanced_test {};

ombrel_file_stream_options_t options_of(size_t buffer_size,
                                        int buffering = def_ombrel_file_stream_buffering_automatic,
                                        uint32_t flags = 0) {
    ombrel_file_stream_options_t options;
    EXPECT_EQ(0, ombrel_init_file_stream_options(&options));
    options.m_buffer_size = buffer_size;
    options.m_buffering = buffering;
    options.m_flags = flags;
    return options;
}

/// The other side of a stream in a string. It takes and gives a few bytes at once, and fails when asked to.
struct string_side {
    string bytes, written_behind = {};
    size_t at = 0;
    bool seeks = true, appends = false;
    size_t most = 5;
    int failures = 0, fault = def_ombrel_fault_none, good_calls = 0;

    bool fails() {
        if (failures == 0 || good_calls-- > 0)
            return false;
        failures--;
        ombrel_leave_fault(fault);
        return true;
    }
    static string_side& of(void* context) { return *static_cast<string_side*>(context); }
    static int64_t read(void* context, void* buffer, size_t size) {
        auto& side = of(context);
        if (side.fails())
            return -1;
        const size_t from = std::min(side.at, side.bytes.size());
        const size_t count = std::min({size, side.most, side.bytes.size() - from});
        memcpy(buffer, side.bytes.data() + from, count);
        side.at += count;
        return static_cast<int64_t>(count);
    }
    static int64_t write(void* context, const void* data, size_t size) {
        auto& side = of(context);
        if (side.fails())
            return -1;
        const size_t count = std::min(size, side.most);
        const string added(static_cast<const char*>(data), count);
        if (!side.seeks) {
            side.written_behind += added;
            return static_cast<int64_t>(count);
        }
        if (side.appends)
            side.at = side.bytes.size();
        side.bytes.resize(std::max(side.bytes.size(), side.at + count));
        side.bytes.replace(side.at, count, added);
        side.at += count;
        return static_cast<int64_t>(count);
    }
    static int64_t seek(void* context, int64_t offset, int origin) {
        auto& side = of(context);
        const size_t from = origin == def_ombrel_file_seek_start     ? 0
                            : origin == def_ombrel_file_seek_current ? side.at
                                                                     : side.bytes.size();
        const int64_t target = static_cast<int64_t>(from) + offset;
        if (target < 0 || !side.seeks) {
            ombrel_leave_fault(side.seeks ? def_ombrel_fault_invalid : def_ombrel_fault_not_seekable);
            return -1;
        }
        side.at = static_cast<size_t>(target);
        return target;
    }
    ombrel_file_stream_t* open(const char* mode, const ombrel_file_stream_options_t* options = nullptr) {
        const ombrel_file_stream_calls_t calls{read, write, seek, nullptr, nullptr};
        return ombrel_open_file_stream_calls(&calls, this, mode, options);
    }
};

string line_of(ombrel_file_stream_t* stream, int expected = 1) {
    char* line = nullptr;
    size_t size = 0;
    EXPECT_EQ(expected, ombrel_file_stream_read_line(stream, &line, &size));
    return line != nullptr ? string(line, size) : "<none>";
}

string rest_of(ombrel_file_stream_t* stream) {
    size_t size = 0;
    char* const rest = static_cast<char*>(ombrel_file_stream_alloc_rest(stream, 0, &size));
    if (rest == nullptr)
        return "<failed>";
    EXPECT_EQ('\0', rest[size]);
    const string result(rest, size);
    ombrel_free(rest);
    return result;
}

// The same random steps on a stream and on one of the C library's.

class pair_of_streams {
public:
    pair_of_streams(ombrel_file_stream_t* stream, std::FILE* file, unsigned seed, bool reads, bool writes)
        : ours_(stream), theirs_(file), random_(seed), reads_(reads), writes_(writes) {}

    void run(int steps) {
        for (int i = 0; i < steps && !testing::Test::HasFailure(); i++) {
            const int step = static_cast<int>(random_() % (sizeof steps_ / sizeof *steps_));
            SCOPED_TRACE("step " + std::to_string(i) + " kind " + std::to_string(step));
            (this->*steps_[step])();
        }
    }

private:
    enum class direction { none, read, write };

    size_t some() { return random_() % (random_() % 4 == 0 ? 200 : 12); }
    /// The C library wants a seek between both directions.
    bool turn(direction to) {
        if (to == direction::read ? !reads_ : !writes_)
            return false;
        if (last_ != direction::none && last_ != to)
            std::fseek(theirs_, std::ftell(theirs_), SEEK_SET);
        last_ = to;
        return true;
    }
    void get() {
        if (!turn(direction::read))
            return;
        const int byte = fgetc(theirs_);
        if (random_() % 2 == 0) {
            EXPECT_EQ(byte, ombrel_file_stream_peek_byte(ours_));
        }
        EXPECT_EQ(byte, ombrel_file_stream_get_byte(ours_));
        if (byte >= 0 && random_() % 3 == 0) {
            const int back = random_() % 2 == 0 ? byte : static_cast<int>(random_() % 256);
            EXPECT_EQ(ungetc(back, theirs_), ombrel_file_stream_unget_byte(ours_, back));
            is_put_back_ = true;
        }
        EXPECT_EQ(feof(theirs_) != 0, ombrel_file_stream_is_at_end(ours_) == 1);
    }
    void read() {
        if (!turn(direction::read))
            return;
        string a(some(), '-'), b = a;
        const auto expected = static_cast<int64_t>(fread(a.data(), 1, a.size(), theirs_));
        EXPECT_EQ(expected, ombrel_file_stream_read(ours_, b.data(), b.size()));
        EXPECT_EQ(a, b);
    }
    void read_line() {
        if (!turn(direction::read))
            return;
        string expected;
        int byte;
        while ((byte = fgetc(theirs_)) >= 0 && byte != '\n')
            expected += static_cast<char>(byte);
        if (expected.empty() && byte < 0)
            EXPECT_EQ("<none>", line_of(ours_, 0));
        else {
            EXPECT_EQ(expected, line_of(ours_));
            EXPECT_EQ(byte == '\n', ombrel_file_stream_has_line_end(ours_) == 1);
        }
    }
    void put() {
        if (!turn(direction::write))
            return;
        const int byte = static_cast<int>(random_() % 256);
        EXPECT_EQ(fputc(byte, theirs_), ombrel_file_stream_put_byte(ours_, byte));
        EXPECT_EQ(0, ombrel_file_stream_is_at_end(ours_));
    }
    void write() {
        if (!turn(direction::write))
            return;
        string text(some(), 'a');
        for (char& c : text)
            c = random_() % 9 == 0 ? '\n' : static_cast<char>('a' + random_() % 26);
        EXPECT_EQ(static_cast<int64_t>(fwrite(text.data(), 1, text.size(), theirs_)),
                  ombrel_file_stream_write(ours_, text.data(), text.size()));
    }
    void print() {
        if (!turn(direction::write))
            return;
        const int width = static_cast<int>(random_() % 60), number = static_cast<int>(random_() % 1000);
        EXPECT_EQ(fprintf(theirs_, "%*d,%s\n", width, number, "text"),
                  ombrel_file_stream_printf(ours_, "%*d,%s\n", width, number, "text"));
    }
    void seek() {
        constexpr std::array origins{SEEK_SET, SEEK_CUR, SEEK_END};
        // GNU's library forgets what was put back even when a seek fails, and may count from where it read
        // to.
        if (std::exchange(is_put_back_, false)) {
            EXPECT_EQ(0, std::fseek(theirs_, std::ftell(theirs_), SEEK_SET));
            EXPECT_EQ(std::ftell(theirs_), ombrel_file_stream_seek(ours_, 0, def_ombrel_file_seek_current));
        }
        const size_t which = random_() % 3;
        const long offset = static_cast<long>(random_() % 80) - (which == 0 ? 10 : 60);
        const bool moves = std::fseek(theirs_, offset, origins[which]) == 0;
        const int64_t position = ombrel_file_stream_seek(ours_, offset, static_cast<int>(which));
        EXPECT_EQ(moves ? std::ftell(theirs_) : -1, position);
        if (moves) {
            EXPECT_EQ(0, ombrel_file_stream_is_at_end(ours_));
            last_ = direction::none;
        }
    }
    void tell() { EXPECT_EQ(std::ftell(theirs_), ombrel_file_stream_tell(ours_)); }
    void flush() {
        if (last_ == direction::write) {
            EXPECT_EQ(0, fflush(theirs_));
            EXPECT_EQ(0, ombrel_file_stream_flush(ours_));
        }
    }

    using step_function = void (pair_of_streams::*)();
    static constexpr step_function steps_[] = {
        &pair_of_streams::get,   &pair_of_streams::get,   &pair_of_streams::read, &pair_of_streams::read_line,
        &pair_of_streams::put,   &pair_of_streams::write, &pair_of_streams::seek, &pair_of_streams::tell,
        &pair_of_streams::flush, &pair_of_streams::print};

    ombrel_file_stream_t* ours_;
    std::FILE* theirs_;
    std::mt19937 random_;
    bool reads_, writes_;
    direction last_ = direction::none;
    bool is_put_back_ = false;
};

const string first_content = "one\ntwo two\n\nthree" + string(90, '.') + "\nlast";

/// Opens the stream of a mode over "ours", which has the first content unless the mode empties it.
using opener =
    std::function<ombrel_file_stream_t*(const char* mode, const ombrel_file_stream_options_t* options)>;

void run_beside_stdio(const opener& open_ours, const std::function<string(ombrel_file_stream_t*)>& close_ours,
                      const std::vector<const char*>& modes) {
#if defined(_WIN32)
    GTEST_SKIP() << "Wine's stdio keeps the end state over seeks";
#endif
    const scratch_directory folder;
    for (unsigned seed = 0; seed < 84 && !testing::Test::HasFailure(); seed++) {
        const string mode = modes[seed % modes.size()];
        constexpr std::array sizes{1, 2, 7, 64, 4096};
        const auto options =
            options_of(static_cast<size_t>(sizes[seed / 7 % sizes.size()]), static_cast<int>(seed / 3 % 4));
        SCOPED_TRACE("seed " + std::to_string(seed) + " mode " + mode);
        const string path = folder.file("theirs", first_content);
        std::FILE* const theirs = ombrel_test::open_stream(path, (mode + "b").c_str());
        ombrel_file_stream_t* const ours = open_ours(mode.c_str(), &options);
        ASSERT_NE(nullptr, ours);
        const bool both = mode.find('+') != string::npos;
        pair_of_streams(ours, theirs, seed, mode[0] == 'r' || both, mode[0] != 'r' || both).run(120);
        fclose(theirs);
        EXPECT_EQ(folder.read("theirs"), close_ours(ours));
    }
}

TEST_F(FileStream, DoesWithFilesWhatStdioDoes) {
    const scratch_directory folder;
    run_beside_stdio(
        [&](const char* mode, const auto* options) {
            return ombrel_open_file_stream(folder.file("ours", first_content).c_str(), mode, options);
        },
        [&](ombrel_file_stream_t* ours) {
            EXPECT_EQ(0, ombrel_close_file_stream(ours));
            return folder.read("ours");
        },
        {"r", "w", "a", "r+", "w+", "a+", "rb+"});
}

TEST_F(FileStream, DoesWithSmallPiecesWhatStdioDoes) {
    string_side side;
    run_beside_stdio(
        [&](const string mode, const auto* options) {
            side = {.bytes = mode[0] == 'w' ? "" : first_content};
            side.appends = mode[0] == 'a';
            side.at = mode == "a" ? side.bytes.size() : 0;
            return side.open(mode.c_str(), options);
        },
        [&](ombrel_file_stream_t* ours) {
            EXPECT_EQ(0, ombrel_close_file_stream(ours));
            return side.bytes;
        },
        {"r", "w", "a", "r+", "w+", "a+"});
}

TEST_F(FileStream, DoesWithGrowingMemoryWhatStdioDoes) {
    run_beside_stdio(
        [&](const char*, const auto* options) { return ombrel_open_file_stream_growing(options); },
        [&](ombrel_file_stream_t* ours) {
            size_t size = 0;
            char* const bytes = ombrel_file_stream_take_memory(ours, &size);
            const string result(bytes, size);
            ombrel_free(bytes);
            EXPECT_EQ(0, ombrel_file_stream_tell(ours) + ombrel_file_stream_is_at_end(ours));
            EXPECT_EQ(0, ombrel_close_file_stream(ours));
            return result;
        },
        {"w+"});
}

TEST_F(FileStream, ReadsLinesOfAnyKind) {
    const string zeros("a\0b", 3), longest(100, 'x');
    string longer;
    while (longer.size() < 250)
        longer += std::to_string(longer.size());
    longer.resize(250);
    string_side side{.bytes = zeros + "\n\n" + longest + "\r\n" + longer + "\nlast\r"};
    auto options = options_of(8, 0, def_ombrel_file_stream_flag_crlf);
    options.m_line_limit = 101;
    ombrel_file_stream_t* const stream = side.open("r", &options);
    EXPECT_EQ(zeros, line_of(stream));
    EXPECT_EQ("", line_of(stream));
    EXPECT_EQ(longest, line_of(stream));
    for (const size_t part : {0u, 0u, 101u}) { // as the limit has it; what was moved for a part is read anew
        EXPECT_EQ(107 + part, ombrel_file_stream_seek(stream, 107 + static_cast<int64_t>(part), 0));
        EXPECT_EQ(longer.substr(part, 101), line_of(stream, -1));
        EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
        EXPECT_EQ(0, ombrel_file_stream_has_line_end(stream));
    }
    EXPECT_EQ(longer.substr(202), line_of(stream));
    EXPECT_EQ(1, ombrel_file_stream_has_line_end(stream));
    EXPECT_EQ("last\r", line_of(stream));
    EXPECT_EQ(0, ombrel_file_stream_has_line_end(stream));
    EXPECT_EQ("<none>", line_of(stream, 0));
    EXPECT_EQ(def_ombrel_fault_none, ombrel_file_stream_get_fault(stream));
    char* field = nullptr;
    EXPECT_EQ(0, ombrel_file_stream_seek(stream, 0, def_ombrel_file_seek_start));
    EXPECT_EQ(1, ombrel_file_stream_read_until(stream, 0, &field, nullptr));
    field[0] = 'z'; // what is changed in a line is not what a seek back finds
    EXPECT_EQ(0, ombrel_file_stream_seek(stream, 0, def_ombrel_file_seek_start));
    EXPECT_EQ(zeros, line_of(stream));
    EXPECT_EQ(0, ombrel_close_file_stream(stream));
}

TEST_F(FileStream, GoesOnAfterWhatPasses) {
    for (const int passing : {def_ombrel_fault_would_block, def_ombrel_fault_interrupted}) {
        string_side side{.bytes = "half a line\n", .most = 4, .fault = passing};
        ombrel_file_stream_t* const stream = side.open("r+");
        EXPECT_EQ('h', ombrel_file_stream_get_byte(stream));
        side.failures = 1;
        EXPECT_EQ("<none>", line_of(stream, -1));
        EXPECT_EQ(passing, ombrel_last_fault());
        EXPECT_EQ("alf a line", line_of(stream));
        ombrel_file_stream_write_text(stream, "written");
        side.failures = 2;
        EXPECT_EQ(-1, ombrel_file_stream_flush(stream));
        EXPECT_EQ(-1, ombrel_file_stream_seek(stream, 0, def_ombrel_file_seek_start));
        EXPECT_EQ(def_ombrel_fault_none, ombrel_file_stream_get_fault(stream));
        EXPECT_EQ(0, ombrel_close_file_stream(stream));
        EXPECT_EQ("half a line\nwritten", side.bytes);
    }
}

TEST_F(FileStream, TellsAFailedReadFromTheEnd) {
    string_side side{.bytes = "ab", .failures = 1, .fault = def_ombrel_fault_input_output};
    ombrel_file_stream_t* const stream = side.open("r");
    EXPECT_EQ(-1, ombrel_file_stream_get_byte(stream) + ombrel_file_stream_is_at_end(stream));
    EXPECT_EQ(def_ombrel_fault_input_output, ombrel_file_stream_get_fault(stream));
    EXPECT_EQ("ab", rest_of(stream));
    EXPECT_EQ(def_ombrel_fault_input_output, ombrel_file_stream_get_fault(stream)); // until it is cleared
    EXPECT_EQ(0, ombrel_file_stream_clear(stream));
    EXPECT_EQ(def_ombrel_fault_none, ombrel_file_stream_get_fault(stream));
    EXPECT_EQ(0, ombrel_close_file_stream(stream));
}

TEST_F(FileStream, TellsOfLostWritesAtTheLatestWhenClosed) {
    string_side side{.bytes = "", .fault = def_ombrel_fault_no_space};
    const auto options = options_of(4);
    for (const bool cleared : {false, true}) {
        side = {.bytes = "",
                .most = cleared ? 1u : 3u,
                .failures = 1,
                .fault = def_ombrel_fault_no_space,
                .good_calls = 1};
        ombrel_file_stream_t* const stream = side.open("w", &options);
        EXPECT_EQ(4, ombrel_file_stream_write(stream, "abc", 3) + ombrel_file_stream_write(stream, "d", 1));
        EXPECT_EQ(-1, ombrel_file_stream_put_byte(stream, 'e'));
        EXPECT_EQ(def_ombrel_fault_no_space, ombrel_last_fault());
        EXPECT_EQ(def_ombrel_fault_no_space, ombrel_file_stream_get_fault(stream));
        if (cleared) {
            EXPECT_EQ(0, ombrel_file_stream_clear(stream));
        }
        EXPECT_EQ('f', ombrel_file_stream_put_byte(stream, 'f')); // what stayed goes out before it
        EXPECT_EQ(cleared ? 0 : -1, ombrel_close_file_stream(stream));
        EXPECT_TRUE(cleared || ombrel_last_fault() == def_ombrel_fault_no_space);
        EXPECT_EQ("abcdf", side.bytes);
    }
}

TEST_F(FileStream, TakesNothingThatItCouldNotHandOn) {
    for (const int buffering :
         {def_ombrel_file_stream_buffering_line, def_ombrel_file_stream_buffering_none}) {
        string_side side{.bytes = "", .most = 2, .fault = def_ombrel_fault_no_space};
        const auto options = options_of(64, buffering);
        ombrel_file_stream_t* const stream = side.open("w", &options);
        side.failures = 1;
        EXPECT_EQ(-1, ombrel_file_stream_put_byte(stream, '\n'));
        side.failures = 1;
        EXPECT_EQ(-1, ombrel_file_stream_printf(stream, "%s\n", "lost"));
        side.failures = 1;
        EXPECT_EQ(-1, ombrel_file_stream_write_text(stream, string(100, 'x').c_str()));
        EXPECT_EQ(5, ombrel_file_stream_write_text(stream, "kept\n"));
        EXPECT_EQ("kept\n", side.bytes);
        EXPECT_EQ(-1, ombrel_close_file_stream(stream));
        EXPECT_EQ("kept\n", side.bytes);
    }
}

#if !defined(_WIN32)
TEST_F(FileStream, ShowsTerminalsWholeLines) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        GTEST_SKIP() << "the host has no pseudo-terminals";
    ombrel_file_stream_t* const stream = ombrel_open_file_stream(ptsname(master), "r+", nullptr);
    pollfd look{master, POLLIN, 0};
    const auto shows = [&](const string& wanted) { // what is shown arrives when the kernel finds the time
        string text;
        for (char part[64]; text.find(wanted) == string::npos && poll(&look, 1, 10000) > 0;)
            text.append(part, static_cast<size_t>(read(master, part, sizeof part)));
        return text.find(wanted) != string::npos;
    };
    EXPECT_EQ('a', ombrel_file_stream_put_byte(stream, 'a'));
    EXPECT_EQ(0, poll(&look, 1, 0));
    EXPECT_EQ(6, ombrel_file_stream_write_text(stream, "b\nname"));
    EXPECT_TRUE(shows("ab\r\nname"));
    EXPECT_EQ(2, ombrel_file_stream_write_text(stream, "? "));
    EXPECT_EQ(4, write(master, "ann\n", 4));
    EXPECT_EQ("ann", line_of(stream));
    EXPECT_TRUE(shows("? "));
    EXPECT_EQ(0, ombrel_close_file_stream(stream));
    close(master);
}

TEST_F(FileStream, TellsOfFullDisks) {
    using write_step = std::function<bool(ombrel_file_stream_t*)>;
    const write_step steps[] = {
        [](auto* s) { return ombrel_file_stream_put_byte(s, 'x') == 'x'; },
        [](auto* s) { return ombrel_file_stream_write(s, first_content.data(), 100) == 100; },
        [](auto* s) { return ombrel_file_stream_printf(s, "%d\n", 1) == 2; },
        [](auto* s) { return ombrel_file_stream_write(s, string(100000, 'x').data(), 100000) == 100000; }};
    for (const write_step& step : steps) {
        ombrel_file_stream_t* const stream = ombrel_open_file_stream("/dev/full", "w", nullptr);
        if (stream == nullptr)
            GTEST_SKIP() << "the host has no device that is always full";
        const bool is_taken = step(stream);
        EXPECT_EQ(-1, ombrel_close_file_stream(stream));
        EXPECT_EQ(def_ombrel_fault_no_space, ombrel_last_fault()) << is_taken;
    }
}
#endif

TEST_F(FileStream, ReadsAndWritesApartWhereThereIsNoPosition) {
    string_side side{.bytes = "question answer", .seeks = false};
    ombrel_file_stream_t* const stream = side.open("r+");
    char word[32];
    EXPECT_EQ(1, ombrel_file_stream_scanf(stream, "%31s", word));
    EXPECT_STREQ("question", word);
    EXPECT_EQ(6, ombrel_file_stream_write_text(stream, "reply?"));
    EXPECT_EQ(' ', ombrel_file_stream_get_byte(stream)); // was read ahead and is not lost
    EXPECT_EQ("", side.written_behind);
    EXPECT_EQ("answer", rest_of(stream));
    EXPECT_EQ("reply?", side.written_behind); // went out before the other side was asked
    EXPECT_EQ(1, ombrel_file_stream_is_at_end(stream));
    EXPECT_EQ('!', ombrel_file_stream_put_byte(stream, '!'));
    EXPECT_EQ(1, ombrel_file_stream_is_at_end(stream));
    EXPECT_EQ(-1, ombrel_file_stream_tell(stream));
    EXPECT_EQ(def_ombrel_fault_not_seekable, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_close_file_stream(stream));
    EXPECT_EQ("reply?!", side.written_behind);
}

TEST_F(FileStream, PutsBackWithinTheRoom) {
    string_side side{.bytes = "abc"};
    ombrel_file_stream_t* const stream = side.open("r");
    int count = 0;
    while (ombrel_file_stream_unget_byte(stream, '0' + count) >= 0)
        count++;
    EXPECT_EQ(def_ombrel_file_stream_unget_limit, count);
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_file_stream_tell(stream));
    EXPECT_EQ("?>=<;:9876543210abc", rest_of(stream));
    EXPECT_EQ(3, ombrel_file_stream_tell(stream));
    EXPECT_EQ(-1, ombrel_file_stream_unget_byte(stream, -1));
    EXPECT_EQ('\xff' & 255, ombrel_file_stream_unget_byte(stream, 255));
    EXPECT_EQ(0, ombrel_file_stream_is_at_end(stream));
    EXPECT_EQ(2, ombrel_file_stream_seek(stream, 0, def_ombrel_file_seek_current)); // forgets it
    EXPECT_EQ('c', ombrel_file_stream_get_byte(stream));
    EXPECT_EQ(0, ombrel_close_file_stream(stream));
}

int64_t print(ombrel_file_stream_t* stream, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int64_t result = ombrel_file_stream_vprintf(stream, format, arguments);
    va_end(arguments);
    return result;
}

int scan(ombrel_file_stream_t* stream, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = ombrel_file_stream_vscanf(stream, format, arguments);
    va_end(arguments);
    return result;
}

TEST_F(FileStream, FormatsAndScansTextsOfAnyLength) {
    string_side side{.bytes = "", .most = 100000};
    const auto options = options_of(16);
    ombrel_file_stream_t* const stream = side.open("w+", &options);
    const string text(100000, 't');
    EXPECT_EQ(0, ombrel_file_stream_printf(stream, ""));
    EXPECT_EQ(100006, print(stream, "%d %s %x", 17, text.c_str(), 255));
    EXPECT_EQ(0, ombrel_file_stream_seek(stream, 0, def_ombrel_file_seek_start));
    int number = 0, hex = 0;
    EXPECT_EQ(
        2, ombrel_scan_atox(ombrel_scan_peek_file_stream, ombrel_scan_pop_file_stream, stream, &number, 10));
    EXPECT_EQ(0, scan(stream, "%*100000s"));
    EXPECT_EQ(1, ombrel_file_stream_scanf(stream, "%x", &hex));
    EXPECT_EQ(17 + 255, number + hex);
    EXPECT_EQ(0, ombrel_file_stream_scanf(stream, "%d", &number));
    EXPECT_EQ(1, ombrel_file_stream_is_at_end(stream));
    EXPECT_EQ(0, ombrel_close_file_stream(stream));
}

TEST_F(FileStream, SharesADescriptorInTurns) {
    const scratch_directory folder;
    const string path = folder.file("shared", "first\nsecond\n");
    ombrel_file_stream_t* const owner = ombrel_open_file_stream(path.c_str(), "r+", nullptr);
    const int fd = ombrel_file_stream_get_descriptor(owner);
    const auto options = options_of(64, 0, def_ombrel_file_stream_flag_keep_open);
    ombrel_file_stream_t* const guest = ombrel_open_file_stream_descriptor(fd, "r", &options);
    EXPECT_EQ("first", line_of(guest));
    EXPECT_EQ(0, ombrel_close_file_stream(guest)); // gives back what it read ahead
    EXPECT_EQ("second", line_of(owner));
    EXPECT_EQ(0, ombrel_file_stream_truncate(owner, 6));
    EXPECT_EQ(13, ombrel_file_stream_tell(owner));
    EXPECT_EQ(6, ombrel_file_stream_seek(owner, 0, def_ombrel_file_seek_end));
    ombrel_file_stream_t* const appender = ombrel_open_file_stream_descriptor(fd, "a", &options);
    EXPECT_EQ(0, ombrel_file_stream_seek(appender, 0, def_ombrel_file_seek_start));
    EXPECT_EQ(5, ombrel_file_stream_write_text(appender, "more\n"));
    EXPECT_EQ(11, ombrel_file_stream_tell(appender));
    EXPECT_EQ(0, ombrel_close_file_stream(appender) + ombrel_close_file_stream(owner));
    EXPECT_EQ("first\nmore\n", folder.read("shared"));
}

TEST_F(FileStream, ReadsWhatAPipeHas) {
    int ends[2];
    ASSERT_EQ(0, ombrel_pipe(ends));
    ombrel_file_stream_t* const in = ombrel_open_file_stream_descriptor(ends[0], "r", nullptr);
    ombrel_file_stream_t* const out = ombrel_open_file_stream_descriptor(ends[1], "w", nullptr);
    char bytes[100000];
    EXPECT_EQ(5, ombrel_file_stream_write_text(out, "some\n"));
    EXPECT_EQ(def_ombrel_pipe_timeout, ombrel_pipe_read(ends[0], bytes, 1, 0)); // it is no terminal
    EXPECT_EQ(0, ombrel_file_stream_flush(out));
    EXPECT_EQ(5, ombrel_file_stream_read_some(in, bytes, sizeof bytes)); // does not wait for more
    EXPECT_EQ(-1, ombrel_file_stream_seek(in, 0, def_ombrel_file_seek_start));
    EXPECT_EQ(def_ombrel_fault_not_seekable, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_file_stream_flush(in));
    EXPECT_EQ(0, ombrel_close_file_stream(in));
    EXPECT_EQ(4, ombrel_file_stream_write_text(out, "more"));
    EXPECT_EQ(-1, ombrel_close_file_stream(out)); // and no signal
    EXPECT_EQ(def_ombrel_fault_closed, ombrel_last_fault());
}

TEST_F(FileStream, KeepsToMemoryOfAFixedSize) {
    char memory[] = "0123456789";
    ombrel_file_stream_t* stream = ombrel_open_file_stream_memory(memory, 8, "r+", nullptr);
    EXPECT_EQ(8, ombrel_file_stream_seek(stream, 0, def_ombrel_file_seek_end));
    EXPECT_EQ(-1, ombrel_file_stream_seek(stream, 9, def_ombrel_file_seek_start));
    EXPECT_EQ(6, ombrel_file_stream_seek(stream, -2, def_ombrel_file_seek_current));
    EXPECT_EQ(4, ombrel_file_stream_write_text(stream, "abcd"));
    EXPECT_EQ(-1, ombrel_file_stream_flush(stream));
    EXPECT_EQ(def_ombrel_fault_no_space, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_close_file_stream(stream));
    EXPECT_STREQ("012345ab89", memory);
    stream = ombrel_open_file_stream_memory(memory, 8, "w", nullptr);
    EXPECT_EQ('\0', memory[0]);
    EXPECT_EQ(3, ombrel_file_stream_write_text(stream, "xyz"));
    EXPECT_EQ(0, ombrel_close_file_stream(stream));
    EXPECT_STREQ("xyz", memory);
    stream = ombrel_open_file_stream_memory(memory, 8, "a+", nullptr);
    EXPECT_EQ("xyz", rest_of(stream));
    EXPECT_EQ(0, ombrel_file_stream_seek(stream, 0, def_ombrel_file_seek_start));
    EXPECT_EQ('!', ombrel_file_stream_put_byte(stream, '!'));
    EXPECT_EQ(4, ombrel_file_stream_tell(stream));
    EXPECT_EQ(-1, ombrel_file_stream_truncate(stream, -1) + ombrel_file_stream_truncate(stream, 2));
    EXPECT_EQ(0, ombrel_close_file_stream(stream));
    EXPECT_STREQ("xy", memory);
    for (const char* mode : {"r", "w+", "a+"}) {
        stream = ombrel_open_file_stream_memory(nullptr, 0, mode, nullptr);
        EXPECT_EQ(0, ombrel_file_stream_seek(stream, 0, def_ombrel_file_seek_end)) << mode;
        EXPECT_EQ("", rest_of(stream)) << mode;
        EXPECT_EQ(0, ombrel_close_file_stream(stream)) << mode;
    }
}

TEST_F(FileStream, GrowsToItsLimit) {
    auto options = options_of(16);
    options.m_memory_limit = 1000;
    ombrel_file_stream_t* const stream = ombrel_open_file_stream_growing(&options);
    EXPECT_STREQ(__func__, ombrel_test::newest_tag());
    EXPECT_STREQ("", ombrel_file_stream_get_memory(stream, nullptr));
    EXPECT_EQ(990, ombrel_file_stream_seek(stream, 990, def_ombrel_file_seek_start));
    EXPECT_EQ(10, ombrel_file_stream_write_text(stream, "0123456789"));
    size_t size = 0;
    const char* const memory = ombrel_file_stream_get_memory(stream, &size);
    EXPECT_EQ(string(990, '\0') + "0123456789", string(memory, size));
    EXPECT_EQ('x', ombrel_file_stream_put_byte(stream, 'x'));
    EXPECT_EQ(nullptr, ombrel_file_stream_take_memory(stream, &size));
    EXPECT_EQ(def_ombrel_fault_no_space, ombrel_file_stream_get_fault(stream));
    EXPECT_EQ(-1, ombrel_close_file_stream(stream));
}

TEST_F(FileStream, LeavesToAChainWhatIsNotUsed) {
    ombrel_buffer_t* const chain = ombrel_open_buffer_ex(def_ombrel_buffer_flag_reference);
    ombrel_file_stream_t* const out = ombrel_open_file_stream_buffer(chain, "w", nullptr);
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(2, ombrel_file_stream_printf(out, "%d\n", i));
    EXPECT_EQ(0, ombrel_close_file_stream(out)); // its buffer is gone, what was pushed is not
    ombrel_file_stream_t* const in = ombrel_open_file_stream_buffer(chain, "r", nullptr);
    EXPECT_EQ("0", line_of(in));
    EXPECT_EQ('1', ombrel_file_stream_peek_byte(in));
    EXPECT_EQ(0, ombrel_file_stream_flush(in));
    EXPECT_EQ(4u, ombrel_get_buffer_size(chain));
    EXPECT_EQ("1\n2\n", rest_of(in));
    EXPECT_EQ(2u, ombrel_push_puts_ex(chain, "3\n", 0));
    EXPECT_EQ(-1, ombrel_file_stream_get_byte(in)); // the end stays until it is cleared
    EXPECT_EQ(0, ombrel_file_stream_clear(in));
    EXPECT_EQ('3', ombrel_file_stream_get_byte(in));
    EXPECT_EQ(0, ombrel_close_file_stream(in));
    EXPECT_EQ(1u, ombrel_get_buffer_size(chain));
    ombrel_close_buffer(chain);
}

TEST_F(FileStream, RefusesWhatMakesNoSense) {
    const scratch_directory folder;
    const string path = folder.file("there", "x");
    for (const char* mode : {"", "x", "rw", "r ", "R", "+r"}) {
        EXPECT_EQ(nullptr, ombrel_open_file_stream(path.c_str(), mode, nullptr)) << mode;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    }
    EXPECT_EQ(nullptr, ombrel_open_file_stream(path.c_str(), "wx", nullptr));
    EXPECT_EQ(def_ombrel_fault_exists, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_open_file_stream(folder.path().c_str(), "r", nullptr));
    EXPECT_EQ(def_ombrel_fault_is_directory, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_open_file_stream_descriptor(-1, "r", nullptr));
    EXPECT_EQ(def_ombrel_fault_bad_descriptor, ombrel_last_fault());
    auto options = options_of(0);
    EXPECT_EQ(nullptr, ombrel_open_file_stream(path.c_str(), "r", &options));
    ombrel_file_stream_t* const stream = ombrel_open_file_stream(path.c_str(), "r", nullptr);
    EXPECT_EQ(nullptr,
              ombrel_open_file_stream_descriptor(ombrel_file_stream_get_descriptor(nullptr), "wx", 0));
    EXPECT_EQ(-1, ombrel_file_stream_put_byte(stream, 'x'));
    EXPECT_EQ(def_ombrel_fault_bad_descriptor, ombrel_last_fault());
    EXPECT_EQ(-2, ombrel_file_stream_truncate(stream, 0) + ombrel_file_stream_truncate(nullptr, 0));
    EXPECT_EQ(nullptr, ombrel_open_file_stream_memory(nullptr, 1, "r", nullptr));
    EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault());
    EXPECT_EQ(nullptr, ombrel_file_stream_get_memory(stream, nullptr));
    EXPECT_EQ(nullptr, ombrel_file_stream_alloc_rest(nullptr, 0, nullptr));
    size_t size = 7;
    EXPECT_EQ('x', ombrel_file_stream_get_byte(stream));
    EXPECT_EQ(-1, (ombrel_file_stream_get_byte)(stream));
    EXPECT_EQ(0, ombrel_file_stream_seek(stream, 0, def_ombrel_file_seek_start));
    ombrel_file_stream_t* const large = ombrel_open_file_stream_memory(&options, 9, "r", nullptr);
    EXPECT_EQ(nullptr, ombrel_file_stream_alloc_rest(large, 8, &size));
    EXPECT_EQ(def_ombrel_fault_too_large, ombrel_last_fault());
    EXPECT_EQ(0, ombrel_close_file_stream(large) + ombrel_close_file_stream(stream));
    EXPECT_EQ(-1, ombrel_file_stream_get_byte(nullptr) * ombrel_file_stream_put_byte(nullptr, 1) *
                      ombrel_file_stream_unget_byte(nullptr, 1));
    EXPECT_EQ(0, ombrel_close_file_stream(nullptr));
}

} // namespace
