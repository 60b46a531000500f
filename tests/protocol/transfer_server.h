// Real TFTP and FTP servers on free ports of the loop-back address, each with a directory of its own.
#pragma once

#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#if !defined(_WIN32)
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "network/loopback.h"
#include "support/no_copy.h"
#include "support/scratch_directory.h"

namespace ombrel_test {

/// The path of a server program, where scripts/bootstrap or an administrator put it; empty when it is
/// missing.
inline std::string find_server(const std::string& name) {
#if defined(_WIN32)
    return name.substr(name.size()); // they are programs of POSIX
#else
    for (const std::string directory : {OMBREL_TEST_SERVERS, "/usr/sbin", "/usr/local/sbin"}) {
        if (access((directory + "/" + name).c_str(), X_OK) == 0)
            return directory + "/" + name;
    }
    return "";
#endif
}

#define OMBREL_NEEDS_SERVER(name)                                                                            \
    if (ombrel_test::find_server(name).empty())                                                              \
    GTEST_SKIP() << "the server " << name << " is not there; scripts/bootstrap test brings it"

/// It may be there and be of no use: it sets its groups first, which ordinary users may not, and needs its
/// libraries.
#define OMBREL_NEEDS_TFTP_SERVER()                                                                           \
    OMBREL_NEEDS_SERVER("in.tftpd");                                                                         \
    if (!ombrel_test::tftp_server::answers())                                                                \
    GTEST_SKIP() << "the server in.tftpd does not run here (only for root, as a rule)"

#if defined(_WIN32)

/// None that a test would get to see.
class no_server : no_copy {
public:
    explicit no_server(const std::vector<std::string>& = {}) {}
    explicit no_server(const char*) {}
    static bool is_there() { return false; }
    static int port() { return 0; }
    static bool answers() { return false; }
    const scratch_directory directory;
};
using tftp_server = no_server;
using ftp_server = no_server;
using python_ftp_server = no_server;

#else

inline std::string user_name() {
    const passwd* const user = getpwuid(getuid());
    return user != nullptr ? user->pw_name : "";
}

/// A program with a socket as its standard input and output; it ends, with its children, at the latest with
/// the scope.
class child_process : no_copy {
public:
    child_process(std::vector<std::string> arguments, int socket) {
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, socket, 0);
        posix_spawn_file_actions_adddup2(&files, socket, 1);
        posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        EXPECT_EQ(0, posix_spawn(&process_, argv[0], &files, &attributes, argv.data(), environ)) << argv[0];
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&files);
    }
    child_process(child_process&& other) noexcept : process_(std::exchange(other.process_, -1)) {}
    ~child_process() {
        if (process_ <= 0)
            return;
        kill(-process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }

private:
    pid_t process_ = -1;
};

class tftp_server : no_copy {
public:
    explicit tftp_server(std::vector<std::string> options = {})
        : socket_(bound(AF_INET, SOCK_DGRAM)), process_(command(std::move(options)), socket_) {}
    int port() const { return own_port(socket_); }
    const scratch_directory directory;

    /// Whether one started here answers, be it that there is no such file.
    static bool answers() {
        const tftp_server server;
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(static_cast<uint16_t>(server.port()));
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const owned_socket s(::socket(AF_INET, SOCK_DGRAM, 0));
        pollfd ready{s, POLLIN, 0};
        const std::string request("\0\1none\0octet", 13);
        ::sendto(s, request.c_str(), request.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
        return ::poll(&ready, 1, 5000) == 1;
    }

private:
    std::vector<std::string> command(std::vector<std::string> options) const {
        std::vector<std::string> all = {
            find_server("in.tftpd"), "--create", "--permissive", "--user", user_name(), "--umask", "022",
            "--retransmit",          "200000"};
        all.insert(all.end(), options.begin(), options.end());
        all.push_back(directory / "");
        return all;
    }

    owned_socket socket_;
    child_process process_;
};

/// Takes anonymous logins alone, into its directory.
class ftp_server : no_copy {
public:
    ftp_server() : socket_(ombrel_open_listen_socket("127.0.0.1", 0)), thread_([this] { accept_all(); }) {
        configuration_.write(
            "conf",
            "run_as_launching_user=YES\nanonymous_enable=YES\nno_anon_password=NO\n"
            "write_enable=YES\nanon_upload_enable=YES\nanon_other_write_enable=YES\n"
            "anon_mkdir_write_enable=YES\nanon_world_readable_only=NO\nanon_umask=022\nseccomp_sandbox=NO\n"
            "isolate=NO\nisolate_network=NO\nlisten=NO\nftp_username=" +
                user_name() + "\nanon_root=" + (directory / "") + "\nsecure_chroot_dir=" + (directory / "") +
                "\n");
    }
    ~ftp_server() {
        ombrel_shutdown_socket(socket_, def_ombrel_shutdown_both);
        thread_.join();
    }
    int port() const { return own_port(socket_); }
    const scratch_directory directory;

private:
    void accept_all() {
        for (;;) {
            const owned_socket connection(ombrel_accept(socket_, nullptr, nullptr, -1));
            if (connection == -1)
                return;
            sessions_.emplace_back(std::vector{find_server("vsftpd"), configuration_ / "conf"}, connection);
        }
    }

    scratch_directory configuration_;
    owned_socket socket_;
    std::vector<child_process> sessions_;
    std::thread thread_;
};

/// pyftpdlib's, which knows facts and the extended commands.
class python_ftp_server : no_copy {
public:
    explicit python_ftp_server(const char* address)
        : socket_(ombrel_open_listen_socket(address, 0)),
          process_({python, "-c", script, directory / ""}, socket_) {}
    int port() const { return own_port(socket_); }
    static bool is_there() {
        static const bool there = system("/usr/bin/python3 -c 'import pyftpdlib' 2> /dev/null") == 0;
        return there;
    }
    const scratch_directory directory;

private:
    static constexpr const char* python = "/usr/bin/python3";
    static constexpr const char* script =
        "import socket, sys\n"
        "from pyftpdlib.authorizers import DummyAuthorizer\n"
        "from pyftpdlib.handlers import FTPHandler\n"
        "from pyftpdlib.servers import FTPServer\n"
        "FTPHandler.authorizer = DummyAuthorizer()\n"
        "FTPHandler.authorizer.add_user('me', 'word', sys.argv[1], perm='elradfmwMT')\n"
        "FTPServer(socket.socket(fileno=1), FTPHandler).serve_forever()\n";

    owned_socket socket_;
    child_process process_;
};

#endif

/// Bytes in which every block differs from the others.
inline std::string varied_bytes(size_t size) {
    std::string bytes(size, 0);
    uint32_t state = 1;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

} // namespace ombrel_test
