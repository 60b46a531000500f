// Plays a client that says anything: the input is what it says on its control connection, in which 1 lets the
// server work and takes what it said, 2 makes the data connection that it was last told of, 3 sends the rest
// of a line on it, and 4 closes it. Whatever that is, what stands beside the account's directory stays as it
// is, each answer is made of lines, and nothing is held when the client has gone.

#include <cstdlib>
#include <cstring>
#include <string>

#include <ombrel/directory.h>
#include <ombrel/file.h>
#include <ombrel/ftp_server.h>
#include <ombrel/heap.h>
#include <ombrel/secret.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "support/require.h"

namespace {

constexpr char guarded[] = "not the client's";

void write(const std::string& path, const char* text) {
    require(ombrel_store_file(path.c_str(), text, strlen(text), def_ombrel_file_no_sync, 0600) == 0);
}

/// "root", which is the account's, with some files, and "guard" beside it.
class folder {
public:
    folder() : path_(ombrel_alloc_temporary_directory(nullptr, "ombrel_fuzz")) {
        require(path_ != nullptr);
        for (const char* name : {"/root", "/root/d"})
            require(ombrel_make_directory((path_ + std::string(name)).c_str(), 0700) == 0);
        write(*this / "root/f", "a\nb\r\nc");
        write(*this / "root/d/f", "");
        write(*this / "guard", guarded);
        ombrel_make_symbolic_link("..", (*this / "root/up").c_str()); // where there are such
    }
    ~folder() {
        ombrel_remove_tree(path_, nullptr, nullptr);
        ombrel_free(path_);
    }
    folder(const folder&) = delete;
    folder& operator=(const folder&) = delete;

    std::string operator/(const char* name) const { return path_ + std::string("/") + name; }

    bool is_as_it_was() const {
        size_t size = 0, entries = 0;
        char* const text = static_cast<char*>(ombrel_alloc_load_file((*this / "guard").c_str(), 100, &size));
        const bool same = text != nullptr && strcmp(text, guarded) == 0;
        ombrel_check_free(text);
        ombrel_check_free(ombrel_alloc_directory_list(path_, &entries));
        return same && entries == 2;
    }

private:
    char* path_;
};

class one_server {
public:
    explicit one_server(const std::string& root) {
        ombrel_ftp_server_options_t options;
        char secret[def_ombrel_secret_text_size];
        ombrel_init_ftp_server_options(&options);
        options.m_login_pause_ms = 0;
        options.m_line_limit = 300;
        options.m_log_handler = [](const char* line, void*) {
            for (const char* c = line; *c != '\0'; c++)
                require(static_cast<unsigned char>(*c) >= ' ' && *c != 0x7f);
            return 0;
        };
        server_ = ombrel_open_ftp_server(base_, &options);
        ombrel_make_secret(secret, sizeof secret, "u", "p", nullptr);
        const ombrel_ftp_account_t account{"u", secret, root.c_str(), 7};
        require(ombrel_ftp_server_add_account(server_, &account) == 0);
        port_ = ombrel_ftp_server_listen(server_, "127.0.0.1", 0);
        require(port_ > 0);
    }
    ~one_server() {
        ombrel_close_ftp_server(server_);
        ombrel_free_event_base(base_);
    }
    one_server(const one_server&) = delete;
    one_server& operator=(const one_server&) = delete;

    int port() const { return port_; }
    void work() {
        for (int i = 0; i < 20; i++)
            ombrel_event_base_loop(base_, def_ombrel_event_loop_non_block);
    }

private:
    ombrel_event_base_t* base_ = ombrel_new_event_base();
    ombrel_ftp_server_t* server_;
    int port_;
};

class client {
public:
    explicit client(one_server& server) : server_(server), control_(connect(server.port())) {}
    ~client() {
        ombrel_close_socket(control_);
        ombrel_close_socket(data_);
    }
    client(const client&) = delete;
    client& operator=(const client&) = delete;

    void play(const std::string& script) {
        for (size_t at = 0; at < script.size(); at++) {
            size_t end = at;
            while (end < script.size() && (script[end] < 1 || script[end] > 4))
                end++;
            send(control_, script.substr(at, end - at));
            at = end;
            if (at < script.size())
                act(script, at);
        }
        hear();
        ombrel_shutdown_socket(control_, def_ombrel_shutdown_send);
        hear();
    }

private:
    static int connect(int port) { return ombrel_open_connect_socket("127.0.0.1", port, 10000); }
    static void send(int s, const std::string& text) {
        if (!text.empty())
            ombrel_send_now(s, text.data(), text.size());
    }

    void act(const std::string& script, size_t& at) {
        const size_t end = script.find('\n', at);
        switch (script[at]) {
        case 1:
            hear();
            break;
        case 2:
            hear();
            ombrel_close_socket(data_);
            data_ = port_ > 0 ? connect(port_) : def_ombrel_invalid_socket;
            port_ = 0;
            break;
        case 3:
            send(data_, script.substr(at + 1, end - at - 1));
            at = end == std::string::npos ? script.size() - 1 : end;
            break;
        default:
            data_ = ombrel_close_socket(data_);
        }
    }

    /// Lines alone come, of printable characters, and no other port than its own is told.
    void hear() {
        char bytes[4096];
        server_.work();
        for (int size; (size = ombrel_recv_now(control_, bytes, sizeof bytes)) > 0; server_.work())
            heard_.append(bytes, static_cast<size_t>(size));
        for (const char c : heard_)
            require(static_cast<unsigned char>(c) >= ' ' || c == '\r' || c == '\n');
        const size_t told = heard_.rfind("(|||");
        port_ = told != std::string::npos ? atoi(heard_.c_str() + told + 4) : port_;
        require(heard_.empty() || heard_.back() == '\n');
        heard_.clear();
        while (data_ >= 0 && ombrel_recv_now(data_, bytes, sizeof bytes) > 0)
            server_.work();
    }

    one_server& server_;
    int control_, data_ = def_ombrel_invalid_socket, port_ = 0;
    std::string heard_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t blocks = ombrel_get_alloc_count();
    {
        const folder files;
        one_server server(files / "root");
        client(server).play("USER u\nPASS p\n" + std::string(reinterpret_cast<const char*>(data), size));
        require(files.is_as_it_was());
    }
    require(ombrel_get_alloc_count() == blocks);
    return 0;
}
