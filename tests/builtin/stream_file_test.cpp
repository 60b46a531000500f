#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "stream_support.h"
#include "support/scratch_directory.h"

using namespace ombrel_test;

namespace {

/// A path as a URI has it.
std::string uri_path(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return (path[0] == '/' ? "" : "/") + path;
}

class FileStreamTest : public stream_test {
protected:
    void store(const char* text) const { directory_.write(name_, text); }
    std::string stored() const { return directory_.read(name_); }

    const scratch_directory directory_;
    const std::string name_ = "a b%41;é", path_ = directory_ / name_;
};

/// What a mode does to a file "old" or to none: opening, writing "X", reading all from the start.
std::string behaviour_of_stream(const std::string& path, const char* mode) {
    stream s(path, mode);
    if (!s.is_open())
        return "refused";
    const bool wrote = s.write("X") == 1;
    ombrel_ctx_rewind(s.handle());
    return s.read_to_end() + (wrote ? " written" : " not written");
}

std::string behaviour_of_stdio(const std::string& path, const char* mode) {
    std::FILE* const file = open_stream(path, mode);
    if (file == nullptr)
        return "refused";
    const bool wrote = fwrite("X", 1, 1, file) == 1;
    std::rewind(file);
    char text[16];
    std::string result(text, fread(text, 1, sizeof text, file));
    result += wrote ? " written" : " not written";
    fclose(file);
    return result;
}

TEST_F(FileStreamTest, ModesAreThoseOfStdio) {
    for (const char* mode : {
             "r", "rb", "r+", "rb+", "r+b", "w", "wt", "w+", "wb+", "a", "a+", "ab+", "wx", "w+x", "wbx",
#if !defined(_WIN32) // where only the library knows them
                 "we", "re"
#endif
         }) {
        for (const bool exists : {false, true}) {
            std::array<std::string, 2> behaviour, left;
            for (size_t i = 0; i < 2; i++) {
                remove_all(path_);
                if (exists)
                    store("old");
                behaviour[i] = i == 0 ? behaviour_of_stream(path_, mode) : behaviour_of_stdio(path_, mode);
                left[i] = stored();
            }
            EXPECT_EQ(behaviour[1], behaviour[0]) << mode << (exists ? " of a file" : " of none");
            EXPECT_EQ(left[1], left[0]) << mode << (exists ? " of a file" : " of none");
        }
    }
    for (const char* mode : {"", "x", "rw", "r ", "+r", "wq"})
        EXPECT_FALSE(stream(path_, mode).is_open()) << mode;
}

TEST_F(FileStreamTest, ReachesFilesByPathAndUri) {
    store("old");
    const std::string encoded = uri_path(directory_ / "a%20b%2541;é");
    for (const std::string& source :
         texts(path_, "file:" + encoded, "FILE://" + encoded, "file://localhost" + encoded)) {
        EXPECT_EQ("old", stream(source, "r").read()) << source;
        EXPECT_EQ("old", stream(source, "r", {}, "application/tuk_stream_file").read()) << source;
    }
}

TEST_F(FileStreamTest, ARunningProgramIsBusy) {
    const std::string itself = ::testing::internal::GetArgvs()[0];
    if (std::FILE* const program = open_stream(itself, "r+b")) {
        fclose(program);
        GTEST_SKIP() << "an emulated program can be written while it runs";
    }
    refused_sources{ctx_error::busy, texts(itself), "r+"}.expect();
}

TEST_F(FileStreamTest, RefusalsSayWhy) {
    store("old");
    const refused_sources cases[] = {
        {ctx_error::not_found, texts(directory_ / "none")},
        {ctx_error::not_found, texts(path_ + "/x"), "w"},
        {ctx_error::invalid, texts("fd:9999", "fd:1x", "fd:99999999999")},
        {ctx_error::invalid, texts(directory_ / std::string(300, 'n')), "w"},
        {ctx_error::exists, texts(path_), "wx"},
        {ctx_error::is_directory, texts(directory_ / "")},
        {ctx_error::syntax, texts("", "file:", "file:a%00b")},
#if !defined(_WIN32) // where a file may be on another host
        {ctx_error::syntax, texts("file://elsewhere/a")},
#endif
        {ctx_error::not_supported, texts("gopher://a")}
    };
    for (const refused_sources& each : cases)
        each.expect();
    for (const char* type : {"application/tuk_stream_none", "Application/tuk_stream"})
        EXPECT_EQ(ctx_error::not_supported, stream(path_, "r", {}, type).error()) << type;
    EXPECT_EQ(ctx_error::syntax, stream("tcp://127.0.0.1:1", "r", {}, "application/tuk_stream_file").error());
    stream s(path_, "r");
    EXPECT_EQ(-1, s.write("x"));
    EXPECT_EQ(ctx_error::not_supported, s.error());
#if defined(__linux__)
    stream full("/dev/full", "w");
    EXPECT_EQ(-1, full.write("x"));
    EXPECT_EQ(ctx_error::no_space, full.error());
#endif
}

TEST_F(FileStreamTest, LargeFilesHave64BitPositions) {
    constexpr int64_t place = int64_t{5} << 30;
    stream s(path_, "w+");
    ASSERT_TRUE(s.is_open());
    EXPECT_EQ(place, s.seek(place));
    EXPECT_EQ(3, s.write("end"));
    EXPECT_EQ(0, ombrel_ctx_sync(s.handle()));
    EXPECT_EQ(std::to_string(place + 3), s.property("size"));
    EXPECT_EQ(place - 1, s.seek(-4, def_ombrel_ctx_seek_end));
    EXPECT_EQ(std::string("\0end", 4), s.read());
    EXPECT_EQ(place + 1, s.seek(-2, def_ombrel_ctx_seek_current));
    EXPECT_EQ(-1, s.seek(-1));
    EXPECT_EQ(-1, s.seek(0, 3));
    EXPECT_EQ(std::to_string(place + 1), s.property("position"));
    ombrel_stream_size_t size{2};
    EXPECT_EQ(0, ombrel_ctx_xcontrol(s.handle(), "SET_SIZE", &size, sizeof size));
    EXPECT_EQ("2", s.property("size"));
    EXPECT_TRUE(s.is_writable() && s.is_readable());
    ombrel_stream_size_t wanted{UINT64_MAX};
    EXPECT_EQ(-1, ombrel_ctx_control(s.handle(), def_ombrel_stream_control_set_size, &wanted, sizeof wanted));
    EXPECT_EQ(ctx_error::invalid, s.error());
    EXPECT_EQ(1, ombrel_ctx_get_env(s.handle(), "size", nullptr, 0)) << "the length alone";
    EXPECT_EQ(-1, ombrel_ctx_get_env(s.handle(), "size", nullptr, 2));
    EXPECT_EQ(ctx_error::invalid, s.error());
}

TEST_F(FileStreamTest, DescriptorsAreTakenOverOrCopied) {
    store("old");
    std::FILE* const file = open_stream(path_, "r+b");
    const int fd = dup(fileno(file));
    fclose(file);
    {
        stream copy("fd:" + std::to_string(fd), "r");
        EXPECT_EQ("ol", copy.read(2));
    }
    EXPECT_FALSE(stream("", "r", {{"fd", "9999"}}).is_open());
    const int ctx = ombrel_new_ctx();
    EXPECT_EQ(0, ombrel_open_ctx_stream_fd(ctx, fd, "a", 0));
    EXPECT_EQ(3, ombrel_ctx_puts(ctx, "new"));
    ombrel_destroy_ctx(ctx);
    EXPECT_FALSE(stream("fd:" + std::to_string(fd), "r").is_open()) << "closed with the context";
    EXPECT_EQ("oldnew", stored());
}

TEST_F(FileStreamTest, StandardStreamsHaveNames) {
    const struct {
        const char* source;
        int descriptor;
        const char* mode;
    } cases[] = {{"stdin:", 0, "r"}, {"stdout:", 1, "a"}, {"stderr:", 2, "a"}};
    store("old");
    for (const auto& [source, descriptor, mode] : cases) {
        std::FILE* const file = open_stream(path_, mode);
        fflush(nullptr);
        const int own = dup(descriptor);
        ASSERT_GE(dup2(fileno(file), descriptor), 0);
        {
            stream s(source, mode);
            if (*mode == 'r') {
                EXPECT_EQ("old", s.read_to_end());
            } else {
                EXPECT_EQ(4, s.write("-new"));
            }
        }
        ASSERT_GE(dup2(own, descriptor), 0);
        close(own);
        fclose(file);
    }
    EXPECT_EQ("old-new-new", stored());
}

TEST_F(FileStreamTest, DescriptorsThatWaitKeepToTheLimit) {
    int ends[2];
#if defined(_WIN32)
    ASSERT_EQ(0, _pipe(ends, 4096, _O_BINARY | _O_NOINHERIT));
#else
    ASSERT_EQ(0, pipe(ends));
#endif
    {
        stream s("fd:" + std::to_string(ends[0]), "r", {{"timeout", "20"}});
        EXPECT_EQ(0, ombrel_ctx_is_readable(s.handle(), 0));
        EXPECT_EQ("", s.read());
        EXPECT_EQ(ctx_error::timed_out, s.error());
        EXPECT_EQ(-1, s.seek(0));
        EXPECT_EQ(ctx_error::not_supported, s.error());
        ASSERT_EQ(2, ::write(ends[1], "ab", 2));
        EXPECT_TRUE(s.is_readable());
        EXPECT_EQ("ab", s.read());
    }
    {
        stream s("fd:" + std::to_string(ends[1]), "w", {{"timeout", "20"}});
        const std::string much(1 << 20, 'x');
        const int written = s.write(much);
        EXPECT_TRUE(written > 0 && written < 1 << 20) << written;
        EXPECT_EQ(ctx_error::timed_out, s.error());
        close(ends[0]);
        EXPECT_EQ(-1, s.write("x")) << "and no signal";
        EXPECT_EQ(ctx_error::disconnected, s.error());
    }
    close(ends[1]);
}

} // namespace
