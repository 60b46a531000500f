// The same use of real servers, over either family, with either way of data connections.
#include <algorithm>
#include <numeric>

#include <ombrel/event_base.h>
#include <ombrel/fault.h>
#include <ombrel/file.h>
#include <ombrel/ftp.h>
#include <ombrel/ftp_server.h>
#include <ombrel/heap.h>
#include <ombrel/secret.h>

#include "protocol/transfer_server.h"
#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/patience.h"

namespace ombrel_test {
namespace {

#if defined(_WIN32) // where no name has a quote
#define QUOTED "a 'b'"
#else
#define QUOTED "a \"b\""
#endif
/// More than the buffers on the way hold.
constexpr size_t large = 12 << 20;

class FtpServers : public balanced_test {
protected:
    ~FtpServers() override { ombrel_close_ftp(ftp_); }

    bool open(const char* host, int port, uint32_t flags, const char* user, const char* password) {
        ombrel_ftp_options_t options;
        ombrel_init_ftp_options(&options);
        options.m_flags = flags;
        options.m_step_ms = patience_ms;
        ombrel_close_ftp(ftp_);
        ftp_ = ombrel_open_ftp(&options);
        return ombrel_ftp_connect(ftp_, host, port) == 0 &&
               ombrel_ftp_log_in(ftp_, user, password, nullptr) == 0;
    }
    const char* why() const { return ombrel_ftp_get_error(ftp_)->m_text; }

    /// The entries of the present directory, sorted: kind, name and, of files, size.
    std::string listed(int form) {
        size_t count = 0;
        std::vector<std::string> lines;
        ombrel_ftp_entry_t* const entries = ombrel_alloc_ftp_list(ftp_, nullptr, form, &count);
        for (size_t i = 0; i < count; i++) {
            if ((entries[i].m_name_faults & def_ombrel_ftp_name_dots) == 0)
                lines.push_back(std::string(1, "?fdlosp!"[entries[i].m_kind]) + entries[i].m_name +
                                (entries[i].m_kind == def_ombrel_ftp_kind_file
                                     ? ":" + std::to_string(entries[i].m_size)
                                     : "") +
                                "|");
        }
        ombrel_free(entries);
        std::sort(lines.begin(), lines.end());
        return std::accumulate(lines.begin(), lines.end(), std::string());
    }

    void use(const scratch_directory& directory) {
        const std::string bytes = varied_bytes(300000);
        here_.write("up", bytes);
        char path[100];
        EXPECT_EQ(0, ombrel_ftp_make_directory(ftp_, QUOTED)) << why();
        EXPECT_EQ(0, ombrel_ftp_change_directory(ftp_, QUOTED)) << why();
        EXPECT_LT(5, ombrel_ftp_get_directory(ftp_, path, sizeof path)) << why();
        EXPECT_TRUE(std::string_view(path).ends_with("/" QUOTED)) << path;
        EXPECT_EQ(0, ombrel_ftp_upload(ftp_, (here_ / "up").c_str(), "caf\xc3\xa9", 0)) << why();
        EXPECT_EQ(bytes, directory.read(QUOTED "/caf\xc3\xa9"));
        EXPECT_EQ(300000, ombrel_ftp_get_size(ftp_, "caf\xc3\xa9")) << why();
        EXPECT_EQ(0, ombrel_ftp_rename(ftp_, "caf\xc3\xa9", "x y")) << why();
        EXPECT_EQ(0, ombrel_ftp_begin_append(ftp_, "x y", 0)) << why();
        EXPECT_EQ(3, ombrel_ftp_write(ftp_, "end", 3, patience_ms));
        EXPECT_EQ(0, ombrel_ftp_finish(ftp_)) << why();
        EXPECT_EQ(0, ombrel_ftp_begin_store(ftp_, "x y", 10, 0)) << why();
        EXPECT_EQ(2, ombrel_ftp_write(ftp_, "is", 2, patience_ms));
        EXPECT_EQ(0, ombrel_ftp_finish(ftp_)) << why();
        const std::string whole = directory.read(QUOTED "/x y");
        EXPECT_EQ("is", whole.substr(10, 2));
        here_.write("down", whole.substr(0, 1234));
        EXPECT_EQ(0, ombrel_ftp_download(ftp_, "x y", (here_ / "down").c_str(), def_ombrel_ftp_resume))
            << why();
        EXPECT_EQ(whole, here_.read("down"));
        go_on_with("x y", whole);
        EXPECT_EQ(whole, directory.read(QUOTED "/x y"));
        EXPECT_EQ(0, ombrel_ftp_make_directory(ftp_, "sub")) << why();
        EXPECT_EQ("dsub|fx y:" + std::to_string(whole.size()) + "|", listed(def_ombrel_ftp_list_best))
            << why();
        EXPECT_EQ("?sub|?x y|", listed(def_ombrel_ftp_list_names)) << why();
        EXPECT_EQ(0, ombrel_ftp_begin_store_unique(ftp_, nullptr, def_ombrel_ftp_text)) << why();
        EXPECT_EQ(2, ombrel_ftp_write(ftp_, "a\n", 2, patience_ms));
        EXPECT_EQ(0, ombrel_ftp_finish(ftp_)) << why();
        const std::string unique = ombrel_ftp_get_stored_name(ftp_);
        EXPECT_NE("", unique) << ombrel_ftp_get_reply_text(ftp_);
        EXPECT_EQ(0, ombrel_ftp_remove_file(ftp_, unique.c_str())) << why();
        EXPECT_EQ(-1, ombrel_ftp_download(ftp_, "none", (here_ / "none").c_str(), 0));
        EXPECT_EQ(0, ombrel_file_exists((here_ / "none").c_str())) << "nothing is made for nothing";
        EXPECT_EQ(-1, ombrel_ftp_remove_file(ftp_, "none"));
        EXPECT_EQ(def_ombrel_fault_not_found, ombrel_last_fault());
        EXPECT_EQ(0, ombrel_ftp_remove_directory(ftp_, "sub")) << why();
    }

    /// Both ways, with what is there being whole, a part, and of another, longer file; or nothing.
    void go_on_with(const char* name, const std::string& whole) {
        const std::string here = here_ / "again", longer = whole + "more";
        const auto store = [&](const std::string& text) {
            here_.write("again", text);
            EXPECT_EQ(0, ombrel_ftp_upload(ftp_, here.c_str(), name, def_ombrel_ftp_resume)) << why();
        };
        const auto fetch_over = [&](const std::string& text) {
            here_.write("again", text);
            EXPECT_EQ(0, ombrel_ftp_download(ftp_, name, here.c_str(), def_ombrel_ftp_resume)) << why();
            return here_.read("again");
        };
        std::string other(whole.size(), 'y');
        EXPECT_EQ(other, fetch_over(other)) << "of the same size";
        EXPECT_EQ(whole, fetch_over(longer));
        EXPECT_EQ(whole, fetch_over(""));
        store(other);
        EXPECT_EQ(whole, fetch_over("")) << "nothing was sent";
        store(longer);
        EXPECT_EQ(longer, fetch_over(""));
        store(other.substr(1)); // shorter than what is there
        EXPECT_EQ(other.substr(1), fetch_over(""));
        EXPECT_EQ(0, ombrel_ftp_remove_file(ftp_, name)) << why();
        store(whole);
    }

    void break_off(const scratch_directory& directory) {
        directory.write("large", std::string(large, 'x'));
        EXPECT_EQ(0, ombrel_ftp_change_to_parent(ftp_)) << why();
        char byte;
        EXPECT_EQ(0, ombrel_ftp_begin_retrieve(ftp_, "large", 0, 0)) << why();
        EXPECT_EQ(1, ombrel_ftp_read(ftp_, &byte, 1, patience_ms)) << why();
        EXPECT_EQ(0, ombrel_ftp_abort(ftp_)) << why();
        EXPECT_EQ(200, ombrel_ftp_command(ftp_, "NOOP", nullptr)) << why();
        EXPECT_EQ(0, ombrel_ftp_begin_store(ftp_, "part", 0, 0)) << why();
        EXPECT_EQ(1, ombrel_ftp_write(ftp_, &byte, 1, patience_ms)) << why();
        EXPECT_EQ(0, ombrel_ftp_abort(ftp_)) << why();
        EXPECT_EQ(static_cast<int64_t>(large), ombrel_ftp_get_size(ftp_, "large")) << why();
    }

    void date_large() {
        const ombrel_instant_t moment{981173106, 0};
        ombrel_instant_t told{};
        ombrel_ftp_entry_t entry;
        EXPECT_EQ(0, ombrel_ftp_set_time(ftp_, "large", &moment)) << why();
        EXPECT_EQ(0, ombrel_ftp_get_time(ftp_, "large", &told)) << why();
        EXPECT_EQ(moment.m_seconds, told.m_seconds);
        ASSERT_EQ(0, ombrel_ftp_get_entry(ftp_, "large", &entry)) << why();
        EXPECT_EQ(static_cast<int64_t>(large), entry.m_size);
        EXPECT_EQ(moment.m_seconds, entry.m_time.m_seconds);
        EXPECT_NE(0u, entry.m_rights & def_ombrel_ftp_right_read);
        EXPECT_STRNE("", entry.m_unique);
    }

    const descriptor_balance descriptors_;
    const scratch_directory here_;
    ombrel_ftp_t* ftp_ = nullptr;
};

/// The library's own, whose loop has a thread here.
class own_ftp_server : no_copy {
public:
    own_ftp_server() : server_(ombrel_open_ftp_server(base_, nullptr)) {
        char secret[def_ombrel_secret_text_size];
        const std::string root = directory / "";
        ombrel_make_secret(secret, sizeof secret, "me", "word", nullptr);
        const ombrel_ftp_account_t account{"me", secret, root.c_str(), 7};
        EXPECT_EQ(0, ombrel_ftp_server_add_account(server_, &account));
        port_ = ombrel_ftp_server_listen(server_, "127.0.0.1", 0);
        thread_ = std::thread([this] { ombrel_event_base_dispatch(base_); });
    }
    ~own_ftp_server() {
        ombrel_event_base_break_loop(base_);
        thread_.join();
        ombrel_close_ftp_server(server_);
        ombrel_free_event_base(base_);
    }
    int port() const { return port_; }
    const scratch_directory directory;

private:
    ombrel_event_base_t* const base_ = ombrel_new_event_base();
    ombrel_ftp_server_t* const server_;
    int port_ = 0;
    std::thread thread_;
};

constexpr uint32_t ways[] = {0, def_ombrel_ftp_check_address | def_ombrel_ftp_not_extended,
                             def_ombrel_ftp_active, def_ombrel_ftp_active | def_ombrel_ftp_not_extended};

TEST_F(FtpServers, VsftpdIsUsed) {
    OMBREL_NEEDS_SERVER("vsftpd");
    for (const uint32_t flags : ways) {
        SCOPED_TRACE(flags);
        const ftp_server server;
        ASSERT_TRUE(open("127.0.0.1", server.port(), flags, nullptr, nullptr)) << why();
        use(server.directory);
        break_off(server.directory);
        EXPECT_EQ(0, ombrel_ftp_disconnect(ftp_));
    }
}

TEST_F(FtpServers, OwnOneIsUsed) {
    for (const uint32_t flags : ways) {
        SCOPED_TRACE(flags);
        const own_ftp_server server;
        ASSERT_TRUE(open("127.0.0.1", server.port(), flags, "me", "word")) << why();
        use(server.directory);
        break_off(server.directory);
        date_large();
        EXPECT_EQ(0, ombrel_ftp_disconnect(ftp_));
    }
}

/// The files of this host; the session is as good as before.
TEST_F(FtpServers, FilesHereMayFail) {
    const own_ftp_server server;
    const std::string none = here_ / "none", below = here_ / "none/such";
    here_.write("up", varied_bytes(300000));
    server.directory.write("down", varied_bytes(300000));
    ASSERT_TRUE(open("127.0.0.1", server.port(), 0, "me", "word")) << why();
    struct failure {
        int result, fault;
        const char* text;
    };
    const auto expect = [&](const failure& expected, int result) {
        EXPECT_EQ(expected.result, result);
        EXPECT_EQ(expected.fault, ombrel_last_fault());
        EXPECT_EQ(expected.fault, ombrel_ftp_get_error(ftp_)->m_fault);
        EXPECT_STREQ(expected.text, why());
        EXPECT_EQ(200, ombrel_ftp_command(ftp_, "NOOP", nullptr)) << why();
    };
    const char* const unwritten = "the file could not be written";
    for (const uint32_t flags : {uint32_t{0}, def_ombrel_ftp_text, def_ombrel_ftp_resume}) {
        expect({-1, def_ombrel_fault_not_found, "the file could not be opened"},
               ombrel_ftp_upload(ftp_, none.c_str(), "up", flags));
        expect({-1, def_ombrel_fault_not_found, unwritten},
               ombrel_ftp_download(ftp_, "down", below.c_str(), flags));
    }
#if defined(__linux__)
    expect({-1, def_ombrel_fault_input_output, "the file could not be read"},
           ombrel_ftp_upload(ftp_, "/proc/self/mem", "up", 0));
#endif
    EXPECT_EQ(0, ombrel_ftp_upload(ftp_, (here_ / "up").c_str(), "up", 0)) << why();
    EXPECT_EQ(varied_bytes(300000), server.directory.read("up"));
}

TEST_F(FtpServers, PyftpdlibIsUsed) {
    if (!python_ftp_server::is_there())
        GTEST_SKIP() << "pyftpdlib is not there; scripts/bootstrap test brings it";
    for (const char* const host : {"127.0.0.1", "::1"}) {
        for (const uint32_t flags : {uint32_t{0}, def_ombrel_ftp_active}) {
            SCOPED_TRACE(std::string(host) + " " + std::to_string(flags));
            const python_ftp_server server(host);
            if (!open(host, server.port(), flags, "me", "word"))
                GTEST_SKIP() << host << ": " << why();
            use(server.directory);
            break_off(server.directory);
            date_large();
            EXPECT_EQ(0, ombrel_ftp_disconnect(ftp_));
        }
    }
}

} // namespace
} // namespace ombrel_test
