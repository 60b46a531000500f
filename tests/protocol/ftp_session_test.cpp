// Sessions at the public interface, beside a server that keeps to the protocol and one that does not.
#include <algorithm>
#include <cerrno>
#include <functional>

#include <ombrel/fault.h>
#include <ombrel/ftp.h>
#include <ombrel/heap.h>

#include "protocol/scripted_ftp_server.h"
#include "support/descriptor_balance.h"
#include "support/heap_balance.h"
#include "support/own_stack.h"
#include "support/patience.h"
#include "support/scratch_directory.h"
#include "support/texts.h"

namespace ombrel_test {
namespace {

using namespace std::string_literals;

constexpr int no_patience_ms = 150;

class FtpSession : public balanced_test {
protected:
    FtpSession() {
        ombrel_init_ftp_options(&options_);
        options_.m_step_ms = patience_ms;
        directory_.write("five", "bytes");
    }
    ~FtpSession() override { ombrel_close_ftp(ftp_); }

    /// Anew, and logged in. @return 0 or -1
    int open(const scripted_ftp_server& server) {
        ombrel_close_ftp(ftp_);
        ftp_ = ombrel_open_ftp(&options_);
        return ombrel_ftp_connect(ftp_, "127.0.0.1", server.port()) == 0
                   ? ombrel_ftp_log_in(ftp_, nullptr, nullptr, nullptr)
                   : -1;
    }
    int download(uint32_t flags = 0) {
        return ombrel_ftp_download(ftp_, "file", (directory_ / "got").c_str(), flags);
    }
    int upload() { return ombrel_ftp_upload(ftp_, (directory_ / "five").c_str(), "file", 0); }
    int list(int form) {
        names_.clear();
        return ombrel_ftp_list(ftp_, nullptr, form, note_name, &names_);
    }
    static int note_name(const ombrel_ftp_entry_t* entry, void* names) {
        *static_cast<std::string*>(names) += std::string(entry->m_name) + "|";
        return 0;
    }
    std::string got() { return directory_.read("got"); }
    std::string rest() {
        std::string bytes;
        char part[3];
        int64_t count = 0;
        while ((count = ombrel_ftp_read(ftp_, part, sizeof part, patience_ms)) > 0)
            bytes.append(part, static_cast<size_t>(count));
        return count == 0 ? bytes : "failed";
    }

    descriptor_balance descriptors_;
    scratch_directory directory_;
    ombrel_ftp_options_t options_;
    ombrel_ftp_t* ftp_ = nullptr;
    std::string names_;
};

using step = std::function<int(FtpSession&)>;

TEST_F(FtpSession, HoldsAgainstHostileServers) {
    constexpr int none = def_ombrel_fault_none, violation = def_ombrel_fault_violation,
                  closed = def_ombrel_fault_closed, late = def_ombrel_fault_timed_out,
                  refused = def_ombrel_fault_rejected, denied = def_ombrel_fault_access_denied;
    using enum data_end;
    ombrel_instant_t time{};
    ombrel_ftp_entry_t entry;
    char path[100];
    const std::function<int()> get = [&] { return download(); };
    const std::function<int()> put = [&] { return upload(); };
    const std::function<int()> resume = [&] {
        directory_.write("got", "he");
        return download(def_ombrel_ftp_resume);
    };
    const std::function<int()> again = [&] { return download() | ombrel_ftp_command(ftp_, "NOOP", nullptr); };
    const std::function<int()> facts = [&] { return list(def_ombrel_ftp_list_facts); };
    const std::function<int()> names = [&] { return list(def_ombrel_ftp_list_names); };
    const std::function<int()> ask_path = [&] {
        return static_cast<int>(ombrel_ftp_get_directory(ftp_, path, sizeof path));
    };
    const std::function<int()> ask_time = [&] { return ombrel_ftp_get_time(ftp_, "file", &time); };
    const std::function<int()> set_time = [&] { return ombrel_ftp_set_time(ftp_, "file", &time); };
    const std::function<int()> ask_size = [&] { return static_cast<int>(ombrel_ftp_get_size(ftp_, "file")); };
    const std::function<int()> ask_entry = [&] { return ombrel_ftp_get_entry(ftp_, nullptr, &entry); };
    const std::function<int()> rename = [&] { return ombrel_ftp_rename(ftp_, "a", "b"); };
    const struct {
        int fault, peer_code;
        const std::function<int()>& work;
        std::vector<std::string> changes;
        data_end end = whole;
        std::string data = "hello";
        uint32_t flags = 0;
    } cases[] = {
        // Replies that are none, never end, or come unasked.
        {violation, 0, get,
         texts(" hello", " 999 x", " 099 x", " 220 a\0b"s,
               " \xff\xfb\x01"
               "220 hi",
               " 220 x*", " 220-x\r\n*", " 220-a\r\n221 b\r\n*", " 120 wait\r\n*", " 220 hi\r\njunk",
               " 220 hi\r\n220 again", " 220 hi\r\n\0"s, "USER 331 more\r\n230 in", "PASS 230 in\r\n150 now",
               "FEAT 211-a\r\n\r\n*", "FEAT 211 a\r\n200 b", "TYPE 200-a\r\n200b\r\n*")},
        {violation, 331, get, texts("PASS 331 and", " 331 more")},
        // Places where files do not come from.
        {violation, 0, get,
         texts("EPSV 229 (|||21|)", "EPSV 229 (|||1023|)", "EPSV 500 no/PASV 227 (127,0,0,1,0,22)",
               "EPSV 229 (|1|10.0.0.1|2000|)", "EPSV 229 (|||70000|)", "EPSV 229 (|||-1|)", "EPSV 229 fine",
               "EPSV 500 no/PASV 227 (1,2,3,4,5)", "EPSV 500 no/PASV 227 (1,2,3,4,999,1)")},
        {violation, 0, get, texts("EPSV 500 no"), whole, "hello", def_ombrel_ftp_check_address},
        {none, 0, get, texts("EPSV 500 no")},
        // Sequences.
        {violation, 226, get, texts("RETR 226 done")},
        {violation, 350, get, texts("RETR 150 now\r\n350 more")},
        {violation, 0, get, texts("RETR 150 now\r\n150 now\r\n*")},
        {violation, 0, again,
         texts("RETR 150 now\r\n226 done\r\n226 again", "RETR 150 now\r\n226 a\r\n150 b")},
        {closed, 421, again, texts("RETR 150 now\r\n226 done\r\n421 bye")},
        {violation, 0, put, texts("STOR 150 now\r\n226 done"), never},
        {violation, 226, facts, texts("MLSD 226 done")},
        {violation, 250, rename, texts("RNFR 250 done")},
        // Sizes that lie, ends that come early.
        {closed, 0, get, texts("SIZE 213 6", "SIZE 213 9223372036854775807")},
        {none, 0, get, texts("SIZE 213 4", "SIZE 213 99999999999999999999", "SIZE 550 none")},
        {violation, 0, resume, texts("SIZE 213 5")},
        {violation, 0, put, texts("SIZE 213 6", "SIZE 213 0")},
        {none, 0, put, texts("SIZE 550 none", "")},
#if !defined(_WIN32) // whose emulation tells a reset to nobody but itself
        {closed, 0, get, texts(""), reset},
#endif
        {closed, 426, get, texts("RETR 150 now\r\n426 cut")},
        {closed, 421, get, texts("RETR 150 now\r\n421 bye", " 421 later", "PASS 230 in\r\n421 bye")},
        // What has been said on the control connection is heard although the data connection stays open.
        {closed, 425, get, texts("RETR 150 now\r\n425 cut"), never},
        {closed, 0, get, texts("RETR 150 now\r\n!"), never},
        {def_ombrel_fault_no_space, 452, put, texts("STOR 150 now\r\n452 full"), whole},
        {closed, 425, get, texts("RETR 150 now\r\n425 no"), data_end::absent, "", def_ombrel_ftp_active},
        // Closing at each step.
        {closed, 0, get,
         texts(" !", " 220 hel!", " 220-hel\r\n!", "USER !", "PASS !", "FEAT !", "FEAT 211-a\r\n!", "TYPE !",
               "SIZE !", "EPSV !", "EPSV 500 no/PASV !", "RETR !", "RETR 150 now\r\n!")},
        {closed, 0, put, texts("STOR !", "STOR 150 now\r\n!")},
        {closed, 0, get, texts("EPRT !", "EPRT 500 no/PORT !"), whole, "hello", def_ombrel_ftp_active},
        // Refusal at each step.
        {denied, 530, get, texts("USER 530 go", "PASS 530 no")},
        {denied, 332, get, texts("USER 332 who", "PASS 332 who")},
        {refused, 504, get, texts("TYPE 504 no")},
        {refused, 502, get, texts("EPSV 500 no/PASV 502 no")},
        {refused, 502, get, texts("EPRT 500 no/PORT 502 no"), whole, "hello", def_ombrel_ftp_active},
        {refused, 502, resume, texts("SIZE 213 7/REST 502 no")},
        {def_ombrel_fault_not_found, 550, get, texts("RETR 550 none")},
        {def_ombrel_fault_no_space, 552, put, texts("STOR 150 now\r\n552 full")},
        // Silence and drops at each step, connections that never open or end.
        {late, 0, get,
         texts(" ", " ~", " 220-a\r\n~", "USER ", "PASS ~", "FEAT ", "TYPE ", "SIZE ", "EPSV ", "RETR ",
               "RETR 150 now")},
        {late, 0, get, texts("RETR 150 now"), never},
        {late, 0, get, texts("RETR 150 now", ""), data_end::absent, "", def_ombrel_ftp_active},
        {late, 0, put, texts("STOR 150 now")},
        {late, 0, names, texts("NLST 150 now"), never},
        // Lists without end.
        {def_ombrel_fault_too_large, 0, names, texts("NLST 150 now"), endless, "x\r\n"},
        {def_ombrel_fault_too_large, 0, names, texts("NLST 150 now"), endless,
         std::string(900, 'x') + "\r\n"},
        {violation, 0, names, texts("NLST 150 now"), endless, "x"},
        // Answers that say something else.
        {violation, 0, ask_path, texts("PWD 257 none", "PWD 257 \"open", "PWD 257 \"odd\"\"")},
        {def_ombrel_fault_too_large, 0, ask_path, texts("PWD 257 \"" + std::string(100, 'x') + "\"")},
        {violation, 0, ask_time, texts("MDTM 213 yesterday", "MDTM 213 20261322000000", "MDTM 213 2026")},
        {violation, 0, ask_size, texts("SIZE 213 many", "SIZE 213 -1", "SIZE 213 9223372036854775808")},
        {violation, 0, ask_entry, texts("MLST 250 fine", "MLST 250-it\r\nx\r\n250 end")},
        {def_ombrel_fault_not_supported, 0, set_time, texts("FEAT 211 none", "MFMT 500 what")}
    };
    options_.m_list_size_limit = 500000;
    options_.m_list_entry_limit = 1000;
    size_t count = 0;
    for (const auto& [fault, peer_code, work, changes, end, data, flags] : cases) {
        options_.m_flags = flags;
        for (const std::string& each : changes) {
            SCOPED_TRACE(each);
            options_.m_step_ms = fault == late ? no_patience_ms : patience_ms;
            const scripted_ftp_server server(each, end, data);
            const bool good = open(server) == 0 && work() >= 0;
            const int left = ombrel_last_fault();
            EXPECT_EQ(fault == none, good);
            EXPECT_EQ(fault, ombrel_ftp_get_error(ftp_)->m_fault) << ombrel_ftp_get_error(ftp_)->m_text;
            EXPECT_EQ(peer_code, ombrel_ftp_get_error(ftp_)->m_peer_code);
            EXPECT_TRUE(good || fault == left) << left;
            EXPECT_EQ(fault == none, ombrel_ftp_get_error(ftp_)->m_text[0] == '\0');
            ombrel_close_ftp(std::exchange(ftp_, nullptr));
            count++;
        }
    }
    EXPECT_LE(90u, count) << "whole dialogues";
}

TEST_F(FtpSession, SaysWhatIsWanted) {
    using enum data_end;
    ombrel_instant_t time{};
    ombrel_ftp_entry_t entry;
    char path[100];
    const ombrel_instant_t moment{1795351325, 900000000}; // 2026-11-22T12:42:05
    const auto begun = [&](int result) { return result == 0 ? ombrel_ftp_finish(ftp_) : result; };
    const struct {
        std::string commands; ///< behind the log in
        std::function<int64_t()> work;
        int64_t result = 0;
        std::string changes = "";
        uint32_t flags = 0;
    } cases[] = {
        {"", [] { return 0; }},
        {"TYPE I|SIZE file|EPSV|RETR file|", [&] { return download(); }},
        {"TYPE I|SIZE file|EPSV|REST 5|RETR file|SIZE file|", [&] { return download(def_ombrel_ftp_resume); },
         -1, "SIZE 213 6"},
        {"TYPE I|EPSV|STOR file|SIZE file|", [&] { return upload(); }},
        {"TYPE I|EPSV|APPE file|", [&] { return begun(ombrel_ftp_begin_append(ftp_, "file", 0)); }},
        {"TYPE I|EPSV|REST 7|STOR file|", [&] { return begun(ombrel_ftp_begin_store(ftp_, "file", 7, 0)); }},
        {"TYPE A|EPSV|STOU a|",
         [&] { return begun(ombrel_ftp_begin_store_unique(ftp_, "a", def_ombrel_ftp_text)); }},
        {"TYPE I|EPSV|STOU|", [&] { return begun(ombrel_ftp_begin_store_unique(ftp_, nullptr, 0)); }},
        {"EPSV|MLSD|", [&] { return list(def_ombrel_ftp_list_best); }},
        {"TYPE A|EPSV|LIST|", [&] { return list(def_ombrel_ftp_list_best); }, 0, "FEAT 500 what"},
        {"EPSV|MLSD|TYPE A|EPSV|LIST|", [&] { return list(def_ombrel_ftp_list_best); }, 0, "MLSD 502 what"},
        {"TYPE A|EPSV|NLST ./-R|",
         [&] { return ombrel_ftp_list(ftp_, "-R", def_ombrel_ftp_list_names, note_name, &names_); }},
        {"MLST a b|", [&] { return ombrel_ftp_get_entry(ftp_, "a b", &entry); }},
        {"PWD|", [&] { return ombrel_ftp_get_directory(ftp_, path, sizeof path); }, 5},
        {"TYPE I|SIZE a|", [&] { return ombrel_ftp_get_size(ftp_, "a"); }, 5},
        {"MDTM a|", [&] { return ombrel_ftp_get_time(ftp_, "a", &time); }},
        {"MFMT 20261122124205 a|", [&] { return ombrel_ftp_set_time(ftp_, "a", &moment); }},
        {"RNFR a|RNTO b|", [&] { return ombrel_ftp_rename(ftp_, "a", "b"); }},
        {"DELE a|", [&] { return ombrel_ftp_remove_file(ftp_, "a"); }},
        {"MKD a|", [&] { return ombrel_ftp_make_directory(ftp_, "a"); }},
        {"RMD a|", [&] { return ombrel_ftp_remove_directory(ftp_, "a"); }},
        {"CWD a|CDUP|",
         [&] { return ombrel_ftp_change_directory(ftp_, "a") | ombrel_ftp_change_to_parent(ftp_); }},
        {"SITE CHMOD 600 a|", [&] { return ombrel_ftp_command(ftp_, "site", "CHMOD 600 a"); }, 504,
         "SITE 504 no"},
        {"TYPE I|SIZE file|PASV|RETR file|", [&] { return download(); }, 0, "", def_ombrel_ftp_not_extended},
        {"TYPE I|SIZE file|EPSV|PASV|RETR file|TYPE A|PASV|NLST|",
         [&] { return download() | list(def_ombrel_ftp_list_names); }, 0, "EPSV 500 what"},
        {"TYPE I|SIZE file|EPRT|RETR file|", [&] { return download(); }, 0, "", def_ombrel_ftp_active},
        {"TYPE I|SIZE file|EPRT|PORT|RETR file|", [&] { return download(); }, 0, "EPRT 500 what",
         def_ombrel_ftp_active}};
    for (const auto& [commands, work, result, changes, flags] : cases) {
        SCOPED_TRACE(commands);
        options_.m_flags = flags;
        scripted_ftp_server server(changes);
        ASSERT_EQ(0, open(server));
        EXPECT_EQ(result, work()) << ombrel_ftp_get_error(ftp_)->m_text;
        EXPECT_EQ(0, ombrel_ftp_disconnect(ftp_));
        EXPECT_EQ("USER anonymous|PASS anonymous@|FEAT|" + commands + "QUIT|", server.commands());
    }
    EXPECT_STREQ("a \"b\"", path);
    EXPECT_EQ(1795351325, time.m_seconds);
    EXPECT_EQ(500000000, time.m_nanoseconds);
}

// What comes with line ends of the network, in every division, and what goes out with them.
TEST_F(FtpSession, TellsWhatTheServerSays) {
    const scripted_ftp_server server(
        "FEAT 211-all\r\n SIZE\r\n REST STREAM\r\n MLST type;\r\n UTF8\r\n211 end");
    EXPECT_EQ(-1, ombrel_ftp_get_reply_code(nullptr));
    ASSERT_EQ(0, open(server));
    EXPECT_EQ(uint32_t{def_ombrel_ftp_feature_size | def_ombrel_ftp_feature_rest |
                       def_ombrel_ftp_feature_facts | def_ombrel_ftp_feature_utf8},
              ombrel_ftp_get_features(ftp_));
    EXPECT_EQ(def_ombrel_ftp_list_facts, ombrel_ftp_begin_list(ftp_, nullptr, def_ombrel_ftp_list_best));
    EXPECT_EQ(-1, ombrel_ftp_begin_list(ftp_, nullptr, def_ombrel_ftp_list_names));
    EXPECT_EQ(def_ombrel_fault_busy, ombrel_last_fault());
    EXPECT_EQ("hello", rest());
    EXPECT_EQ(0, ombrel_ftp_finish(ftp_));
    EXPECT_EQ(226, ombrel_ftp_get_reply_code(ftp_));
    EXPECT_EQ(0, ombrel_ftp_disconnect(ftp_));
}

// PASS is the last that is sent here, so that no other command stands in its place.
TEST_F(FtpSession, LeavesNoPasswordOnTheStack) {
    const std::string password = "a word that is long enough to be found";
    const scripted_ftp_server server("");
    options_.m_flags = def_ombrel_ftp_no_features;
    ftp_ = ombrel_open_ftp(&options_);
    ASSERT_EQ(0, ombrel_ftp_connect(ftp_, "127.0.0.1", server.port()));
    int result = -1;
    const auto log_in = [&] { result = ombrel_ftp_log_in(ftp_, "ann", password.c_str(), nullptr); };
    EXPECT_FALSE(stays_on_stack(password.substr(4), log_in));
    EXPECT_EQ(0, result);
    EXPECT_EQ(0, ombrel_ftp_disconnect(ftp_));
}

// Of a session that is none, has no connection, or is in the middle of a transfer.
TEST_F(FtpSession, AsksForNothingAtTheWrongTime) {
    ombrel_ftp_entry_t entry;
    ombrel_instant_t time{1795351325, 0};
    char path[100];
    const std::string here = directory_ / "five";
    ombrel_ftp_t* ftp = nullptr;
    const std::pair<const char*, std::function<bool()>> calls[] = {
        {"log in", [&] { return ombrel_ftp_log_in(ftp, nullptr, nullptr, nullptr) == -1; }},
        {"command", [&] { return ombrel_ftp_command(ftp, "NOOP", nullptr) == -1; }},
        {"retrieve", [&] { return ombrel_ftp_begin_retrieve(ftp, "a", 0, 0) == -1; }},
        {"store", [&] { return ombrel_ftp_begin_store(ftp, "a", 0, 0) == -1; }},
        {"append", [&] { return ombrel_ftp_begin_append(ftp, "a", 0) == -1; }},
        {"unique", [&] { return ombrel_ftp_begin_store_unique(ftp, "a", 0) == -1; }},
        {"no name", [&] { return ombrel_ftp_begin_store_unique(ftp, nullptr, 0) == -1; }},
        {"download", [&] { return ombrel_ftp_download(ftp, "a", here.c_str(), 0) == -1; }},
        {"resume", [&] { return ombrel_ftp_download(ftp, "a", here.c_str(), def_ombrel_ftp_resume) == -1; }},
        {"upload", [&] { return ombrel_ftp_upload(ftp, here.c_str(), "a", 0) == -1; }},
        {"upload rest",
         [&] { return ombrel_ftp_upload(ftp, here.c_str(), "a", def_ombrel_ftp_resume) == -1; }},
        {"list",
         [&] { return ombrel_ftp_list(ftp, nullptr, def_ombrel_ftp_list_names, note_name, &names_) == -1; }},
        {"list of",
         [&] { return ombrel_ftp_list(ftp, "a", def_ombrel_ftp_list_names, note_name, &names_) == -1; }},
        {"alloc list",
         [&] { return ombrel_alloc_ftp_list(ftp, nullptr, def_ombrel_ftp_list_best, nullptr) == nullptr; }},
        {"alloc list of",
         [&] { return ombrel_alloc_ftp_list(ftp, "a", def_ombrel_ftp_list_best, nullptr) == nullptr; }},
        {"begin list", [&] { return ombrel_ftp_begin_list(ftp, nullptr, def_ombrel_ftp_list_best) == -1; }},
        {"begin list of", [&] { return ombrel_ftp_begin_list(ftp, "a", def_ombrel_ftp_list_best) == -1; }},
        {"entry", [&] { return ombrel_ftp_get_entry(ftp, nullptr, &entry) == -1; }},
        {"entry of", [&] { return ombrel_ftp_get_entry(ftp, "a", &entry) == -1; }},
        {"rename", [&] { return ombrel_ftp_rename(ftp, "a", "b") == -1; }},
        {"remove file", [&] { return ombrel_ftp_remove_file(ftp, "a") == -1; }},
        {"make directory", [&] { return ombrel_ftp_make_directory(ftp, "a") == -1; }},
        {"remove directory", [&] { return ombrel_ftp_remove_directory(ftp, "a") == -1; }},
        {"change directory", [&] { return ombrel_ftp_change_directory(ftp, "a") == -1; }},
        {"change to parent", [&] { return ombrel_ftp_change_to_parent(ftp) == -1; }},
        {"get directory", [&] { return ombrel_ftp_get_directory(ftp, path, sizeof path) == -1; }},
        {"get size", [&] { return ombrel_ftp_get_size(ftp, "a") == -1; }},
        {"get time", [&] { return ombrel_ftp_get_time(ftp, "a", &time) == -1; }},
        {"set time", [&] { return ombrel_ftp_set_time(ftp, "a", &time) == -1; }},
    };
    const auto expect_all_refused = [&](int fault) {
        for (const auto& [name, is_refused] : calls) {
            errno = 0;
            EXPECT_TRUE(is_refused()) << name;
            EXPECT_EQ(fault, ombrel_last_fault()) << name;
            if (ftp != nullptr) {
                EXPECT_EQ(fault, ombrel_ftp_get_error(ftp)->m_fault) << name;
            }
        }
    };
    expect_all_refused(def_ombrel_fault_invalid);
    scripted_ftp_server server("");
    ASSERT_EQ(0, open(server));
    ftp = ftp_;
    ASSERT_EQ(0, ombrel_ftp_begin_retrieve(ftp, "file", 0, 0));
    expect_all_refused(def_ombrel_fault_busy);
    EXPECT_EQ("hello", rest()) << "what is under way goes on";
    EXPECT_EQ(0, ombrel_ftp_finish(ftp));
    EXPECT_EQ(0, ombrel_ftp_disconnect(ftp));
    expect_all_refused(def_ombrel_fault_not_connected);
    EXPECT_EQ("USER anonymous|PASS anonymous@|FEAT|TYPE I|SIZE file|EPSV|RETR file|QUIT|", server.commands());
    EXPECT_EQ("bytes", directory_.read("five"));
}

TEST_F(FtpSession, NothingIsAskedOfNoSession) {
    int64_t done = 7;
    char byte = 'x';
    const std::pair<const char*, std::function<bool()>> calls[] = {
        {"init", [] { return ombrel_init_ftp_options(nullptr) == -1; }},
        {"connect", [] { return ombrel_ftp_connect(nullptr, "localhost", 21) == -1; }},
        {"disconnect", [] { return ombrel_ftp_disconnect(nullptr) == -1; }},
        {"wait", [] { return ombrel_ftp_wait(nullptr, 0) == -1; }},
        {"read", [&] { return ombrel_ftp_read(nullptr, &byte, 1, 0) == -1; }},
        {"write", [&] { return ombrel_ftp_write(nullptr, &byte, 1, 0) == -1; }},
        {"finish", [] { return ombrel_ftp_finish(nullptr) == -1; }},
        {"abort", [] { return ombrel_ftp_abort(nullptr) == -1; }},
        {"progress", [&] { return ombrel_ftp_get_progress(nullptr, &done, nullptr) == -1; }},
    };
    for (const auto& [name, is_refused] : calls) {
        errno = 0;
        EXPECT_TRUE(is_refused()) << name;
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_last_fault()) << name;
    }
    EXPECT_EQ(7, done);
    EXPECT_EQ(0, ombrel_ftp_is_connected(nullptr));
    EXPECT_EQ(0u, ombrel_ftp_get_features(nullptr));
    EXPECT_EQ(nullptr, ombrel_ftp_get_error(nullptr));
    EXPECT_STREQ("", ombrel_ftp_get_reply_text(nullptr));
    EXPECT_STREQ("", ombrel_ftp_get_stored_name(nullptr));
    EXPECT_EQ(0, ombrel_close_ftp(nullptr));
}

TEST_F(FtpSession, MovesTexts) {
    {
        const scripted_ftp_server server("", data_end::whole, "a\r\nb\rc\n\r\r\n\r");
        ASSERT_EQ(0, open(server));
        for (size_t size = 1; size < 9; size++) {
            ASSERT_EQ(0, ombrel_ftp_begin_retrieve(ftp_, "file", 0, def_ombrel_ftp_text));
            std::string bytes;
            char part[8];
            int64_t count = 0;
            while ((count = ombrel_ftp_read(ftp_, part, size, patience_ms)) > 0)
                bytes.append(part, static_cast<size_t>(count));
            EXPECT_EQ(0, count);
            EXPECT_EQ("a\nb\rc\n\r\n\r", bytes) << size;
        }
        ombrel_ftp_disconnect(ftp_);
    }
    scripted_ftp_server server("");
    ASSERT_EQ(0, open(server));
    ASSERT_EQ(0, ombrel_ftp_begin_store(ftp_, "file", 0, def_ombrel_ftp_text));
    const std::string lines(3000, '\n');
    EXPECT_EQ(3, ombrel_ftp_write(ftp_, "a\r\n", 3, patience_ms));
    EXPECT_EQ(3000, ombrel_ftp_write(ftp_, lines.data(), lines.size(), patience_ms));
    EXPECT_EQ(0, ombrel_ftp_finish(ftp_));
    EXPECT_EQ(0, ombrel_ftp_disconnect(ftp_));
    std::string wired = "a\r\n";
    for (size_t i = 0; i < lines.size(); i++)
        wired += "\r\n";
    EXPECT_EQ(wired, server.stored());
}

TEST_F(FtpSession, BreaksOffAndGoesOn) {
    options_.m_keep_alive_ms = 5;
    for (const char* const changes : {"ABOR 426 cut\r\n226 gone", "ABOR 426 cut", "RETR 150 now\r\n226 done",
                                      "RETR 150 now\r\n226 done/ABOR 500 what"}) {
        SCOPED_TRACE(changes);
        const bool waits = std::string_view(changes).starts_with("ABOR");
        scripted_ftp_server server((waits ? "RETR 150 now/" : "") + std::string(changes), data_end::never);
        ASSERT_EQ(0, open(server));
        ASSERT_EQ(0, ombrel_ftp_begin_retrieve(ftp_, "file", 0, 0));
        char bytes[8];
        EXPECT_EQ(1, ombrel_ftp_wait(ftp_, patience_ms));
        EXPECT_EQ(5, ombrel_ftp_read(ftp_, bytes, sizeof bytes, patience_ms));
        EXPECT_EQ(def_ombrel_ftp_timeout, ombrel_ftp_read(ftp_, bytes, sizeof bytes, waits ? 100 : 0));
        EXPECT_EQ(-1, ombrel_ftp_command(ftp_, "NOOP", nullptr));
        EXPECT_EQ(def_ombrel_fault_busy, ombrel_ftp_get_error(ftp_)->m_fault);
        int64_t done = 0, total = 0;
        EXPECT_EQ(0, ombrel_ftp_get_progress(ftp_, &done, &total));
        EXPECT_EQ(5, done);
        EXPECT_EQ(5, total);
        EXPECT_EQ(0, ombrel_ftp_abort(ftp_)) << ombrel_ftp_get_error(ftp_)->m_text;
        EXPECT_EQ(-1, ombrel_ftp_read(ftp_, bytes, sizeof bytes, 0)) << "that is no end of a file";
        EXPECT_EQ(215, ombrel_ftp_command(ftp_, "SYST", nullptr)) << "replies are in step";
        EXPECT_STREQ("UNIX", ombrel_ftp_get_reply_text(ftp_));
        EXPECT_EQ(0, ombrel_ftp_disconnect(ftp_));
        EXPECT_EQ(waits, server.commands().find("RETR file|NOOP|") != std::string::npos) << "kept alive";
    }
}

TEST_F(FtpSession, StopsWhereAHandlerWants) {
    struct watch {
        std::string log;
        int stop_at;
    } seen{"", 3};
    options_.m_context = &seen;
    options_.m_progress_handler = [](ombrel_ftp_t*, int64_t done, int64_t, void* context) {
        return done >= static_cast<watch*>(context)->stop_at ? 7 : 0;
    };
    options_.m_dialogue_handler = [](ombrel_ftp_t*, int is_reply, const char* line, void* context) {
        static_cast<watch*>(context)->log += (is_reply ? "<" : ">") + std::string(line) + "|";
        return 0;
    };
    const scripted_ftp_server server("SYST 215-a\tb\r\n\x1b[31m\r\n215 c/PASS 230 in", data_end::whole,
                                     "x\r\ny\r\n");
    ASSERT_EQ(0, open(server));
    EXPECT_EQ(7, download());
    EXPECT_EQ(7, list(def_ombrel_ftp_list_names));
    EXPECT_EQ("x|y|", names_);
    EXPECT_EQ(9, ombrel_ftp_list(
                     ftp_, nullptr, def_ombrel_ftp_list_names, [](auto, void*) { return 9; }, nullptr));
    EXPECT_EQ(215, ombrel_ftp_command(ftp_, "SYST", nullptr));
    EXPECT_STREQ("a?b\n?[31m\nc", ombrel_ftp_get_reply_text(ftp_));
    EXPECT_NE(std::string::npos, seen.log.find(">PASS ****|<230 in|>FEAT|"));
    EXPECT_NE(std::string::npos, seen.log.find(">SYST|<215-a?b|<?[31m|<215 c|"));
    seen.stop_at = 1000;
    size_t count = 0;
    ombrel_ftp_entry_t* const entries = ombrel_alloc_ftp_list(ftp_, ".", def_ombrel_ftp_list_names, &count);
    ASSERT_NE(nullptr, entries);
    EXPECT_EQ(2u, count);
    EXPECT_STREQ("y", entries[1].m_name);
    EXPECT_STREQ("y", entries[1].m_line);
    EXPECT_EQ(nullptr, entries[2].m_name);
    ombrel_free(entries);
    ombrel_ftp_disconnect(ftp_);
}

TEST_F(FtpSession, RefusesNonsense) {
    scripted_ftp_server server("");
    const std::string long_path(1100, 'x');
    ASSERT_EQ(0, open(server));
    for (const char* const path :
         {static_cast<const char*>(nullptr), "", "a\r\nDELE b", "a\nb", long_path.c_str()}) {
        EXPECT_EQ(-1, ombrel_ftp_remove_file(ftp_, path));
        EXPECT_EQ(def_ombrel_fault_invalid, ombrel_ftp_get_error(ftp_)->m_fault);
        EXPECT_EQ(-1, ombrel_ftp_begin_retrieve(ftp_, path, 0, 0));
        EXPECT_EQ(-1, ombrel_ftp_rename(ftp_, "a", path));
    }
    for (const char* const verb :
         {"RETR", "pasv", "EPRT", "TYPE", "QUIT", "A B", "NOOP\r\nDELE", "", "AAAAAAAAAAAAAAAAA"})
        EXPECT_EQ(-1, ombrel_ftp_command(ftp_, verb, nullptr)) << verb;
    EXPECT_EQ(-1, ombrel_ftp_command(ftp_, "SITE", "x\nDELE b"));
    EXPECT_EQ(-1, ombrel_ftp_log_in(ftp_, "x\r\nDELE b", nullptr, nullptr));
    EXPECT_EQ(-1, ombrel_ftp_begin_retrieve(ftp_, "a", -1, 0));
    EXPECT_EQ(-1, ombrel_ftp_begin_retrieve(ftp_, "a", 1, def_ombrel_ftp_text));
    EXPECT_EQ(-1, ombrel_ftp_list(ftp_, nullptr, 4, note_name, &names_));
    EXPECT_EQ(-1, ombrel_ftp_read(ftp_, names_.data(), 0, 0)) << "no transfer";
    EXPECT_EQ(0, ombrel_ftp_finish(ftp_));
    EXPECT_EQ(0, ombrel_ftp_disconnect(ftp_));
    EXPECT_EQ("USER anonymous|PASS anonymous@|FEAT|QUIT|", server.commands());
    EXPECT_EQ(-1, ombrel_ftp_command(ftp_, "NOOP", nullptr));
    EXPECT_EQ(def_ombrel_fault_not_connected, ombrel_last_fault());
    EXPECT_EQ(-1, ombrel_ftp_connect(nullptr, "x", 21));
    EXPECT_EQ(-1, ombrel_ftp_connect(ftp_, "127.0.0.1", 0));
}

} // namespace
} // namespace ombrel_test
