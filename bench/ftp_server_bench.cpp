// One large file over loop-back from and to our server of FTP, and vsftpd.
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ombrel/event_base.h>
#include <ombrel/file.h>
#include <ombrel/ftp_server.h>
#include <ombrel/heap.h>

extern char** environ;

namespace {

constexpr int64_t file_size = int64_t{1} << 30;
constexpr size_t piece_size = 1 << 20;

/// A directory with one file.
class folder {
public:
    folder() : path_(ombrel_alloc_temporary_directory(nullptr, "ombrel_bench")) {
        const int fd = open("large", def_ombrel_file_write | def_ombrel_file_create);
        const std::string piece(piece_size, 'x');
        for (int64_t size = 0; size < file_size; size += static_cast<int64_t>(piece.size()))
            ombrel_file_write_all(fd, piece.data(), piece.size());
        ombrel_close_file(fd);
    }
    ~folder() {
        for (const char* name : {"/large", "/stored", "/conf"})
            ombrel_remove_file((path_ + std::string(name)).c_str());
        ombrel_remove_directory(path_);
        ombrel_free(path_);
    }
    folder(const folder&) = delete;
    folder& operator=(const folder&) = delete;

    const char* path() const { return path_; }
    int open(const char* name, uint32_t flags) const {
        return ombrel_open_file((path_ + std::string("/") + name).c_str(), flags, 0600);
    }

private:
    char* path_;
};

int connect_to(int port) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(port));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    return connect(s, reinterpret_cast<sockaddr*>(&to), sizeof to) == 0 ? s : -1;
}

/// A process of its own in a session of its own, as the peer is, so that the host shares out its time alike.
class our_server {
public:
    explicit our_server(const folder& files) {
        int ends[2];
        if (pipe(ends) != 0 || (process_ = fork()) < 0)
            abort();
        if (process_ == 0)
            serve(files, ends[1]);
        close(ends[1]);
        if (read(ends[0], &port_, sizeof port_) != sizeof port_)
            abort();
        close(ends[0]);
    }
    ~our_server() {
        kill(process_, SIGKILL);
        for (int status; waitpid(process_, &status, 0) < 0;) {
        }
    }
    our_server(const our_server&) = delete;
    our_server& operator=(const our_server&) = delete;

    int connect() const { return connect_to(port_); }

private:
    [[noreturn]] static void serve(const folder& files, int tell) {
        setsid();
        ombrel_event_base_t* const base = ombrel_new_event_base();
        ombrel_ftp_server_t* const server = ombrel_open_ftp_server(base, nullptr);
        const ombrel_ftp_account_t guest{"anonymous", nullptr, files.path(),
                                         def_ombrel_ftp_account_read | def_ombrel_ftp_account_write};
        ombrel_ftp_server_add_account(server, &guest);
        const int port = ombrel_ftp_server_listen(server, "127.0.0.1", 0);
        const bool is_told = write(tell, &port, sizeof port) == sizeof port;
        close(tell);
        _exit(is_told && ombrel_event_base_dispatch(base) == 0 ? 0 : 1);
    }

    pid_t process_ = 0;
    int port_ = 0;
};

/// A process for each session, with the connection as its standard input and output.
class peer_server {
public:
    explicit peer_server(const folder& files) : configuration_(files.path() + std::string("/conf")) {
        const std::string text =
            "run_as_launching_user=YES\nanonymous_enable=YES\nwrite_enable=YES\nanon_upload_enable=YES\n"
            "anon_other_write_enable=YES\nanon_world_readable_only=NO\nanon_umask=022\nseccomp_sandbox=NO\n"
            "isolate=NO\nisolate_network=NO\nlisten=NO\nanon_root=" +
            std::string(files.path()) + "\nsecure_chroot_dir=" + files.path() +
            "\nftp_username=" + (getuid() == 0 ? "root" : getenv("USER")) + "\n";
        ombrel_store_file(configuration_.c_str(), text.data(), text.size(), def_ombrel_file_no_sync, 0600);
    }
    ~peer_server() {
        for (int status; process_ > 0 && waitpid(process_, &status, 0) < 0;) {
        }
    }
    peer_server(const peer_server&) = delete;
    peer_server& operator=(const peer_server&) = delete;

    static const char* program() {
        for (const char* path :
             {"build/servers/usr/sbin/vsftpd", "/usr/sbin/vsftpd", "/usr/local/sbin/vsftpd"})
            if (access(path, X_OK) == 0)
                return path;
        return nullptr;
    }

    int connect() {
        sockaddr_in own{};
        socklen_t size = sizeof own;
        const int listener = socket(AF_INET, SOCK_STREAM, 0);
        own.sin_family = AF_INET;
        own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(listener, reinterpret_cast<sockaddr*>(&own), size);
        listen(listener, 1);
        getsockname(listener, reinterpret_cast<sockaddr*>(&own), &size);
        const int s = connect_to(ntohs(own.sin_port)), its = accept(listener, nullptr, nullptr);
        start(its);
        close(its);
        close(listener);
        return s;
    }

private:
    void start(int s) {
        posix_spawn_file_actions_t streams;
        posix_spawn_file_actions_init(&streams);
        posix_spawn_file_actions_adddup2(&streams, s, 0);
        posix_spawn_file_actions_adddup2(&streams, s, 1);
        std::string name = program();
        char* const arguments[] = {name.data(), configuration_.data(), nullptr};
        posix_spawn(&process_, name.c_str(), &streams, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&streams);
    }

    std::string configuration_;
    pid_t process_ = 0;
};

class session {
public:
    explicit session(int s) : s_(s) {
        answer();
        ask("USER anonymous");
        ask("PASS x");
        ask("TYPE I");
    }
    ~session() {
        ask("QUIT");
        close(s_);
    }
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    /// Whether all of it went through.
    bool fetch() {
        const int data = begin("RETR large");
        int64_t size = 0;
        for (ssize_t got; (got = recv(data, piece_.data(), piece_.size(), 0)) > 0;)
            size += got;
        close(data);
        return answer() == 226 && size == file_size;
    }
    bool store() {
        const int data = begin("STOR stored");
        int64_t size = 0;
        for (ssize_t sent; size < file_size && (sent = send(data, piece_.data(), piece_.size(), 0)) > 0;)
            size += sent;
        close(data);
        return answer() == 226 && size >= file_size;
    }

private:
    int begin(const char* line) {
        ask("EPSV");
        const int data = connect_to(atoi(strstr(line_.c_str(), "|||") + 3));
        ask(line);
        return data;
    }
    int ask(const std::string& line) {
        const std::string whole = line + "\r\n";
        send(s_, whole.data(), whole.size(), MSG_NOSIGNAL);
        return answer();
    }
    /// The code of the next answer.
    int answer() {
        do {
            line_.clear();
            for (char c; (line_.empty() || line_.back() != '\n') && recv(s_, &c, 1, 0) == 1;)
                line_ += c;
        } while (line_.size() > 3 && line_[3] != ' ');
        return atoi(line_.c_str());
    }

    int s_;
    std::string line_, piece_ = std::string(piece_size, 'y');
};

const folder& files() {
    static const folder made;
    return made;
}

template<typename Server, bool fetches>
void move_file(benchmark::State& state) {
    Server server(files());
    session client(server.connect());
    for (auto _ : state)
        if (!(fetches ? client.fetch() : client.store()))
            return state.SkipWithError("the file did not go through");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * file_size);
}

int register_all() {
    const auto add = [](const char* name, void (*run)(benchmark::State&)) {
        benchmark::RegisterBenchmark(name, run)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
    };
    add("ftp server: 1 GiB fetched|ombrel", move_file<our_server, true>);
    add("ftp server: 1 GiB stored|ombrel", move_file<our_server, false>);
    if (peer_server::program() == nullptr)
        return 0;
    add("ftp server: 1 GiB fetched|vsftpd", move_file<peer_server, true>);
    add("ftp server: 1 GiB stored|vsftpd", move_file<peer_server, false>);
    return 0;
}

[[maybe_unused]] const int registered = register_all();

} // namespace
