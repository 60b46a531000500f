// The server of FTP.
#include <string>

#include <ombrel/fault.h>
#include <ombrel/ftp_server.h>
#include <ombrel/secret.h>
#include <ombrel/socket.h>
#include <ombrel/socket_open.h>

#include "alloc_failure/injection.h"
#include "network/loopback.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

class served_folder : no_copy {
public:
    served_folder() {
        char secret[def_ombrel_secret_text_size];
        ombrel_make_secret(secret, sizeof secret, "ann", "pw", nullptr);
        folder_.write("accounts", std::string("ann:") + secret + ":" + folder_.path() + ":rwd\n");
        folder_.write("file", "bytes");
    }
    ~served_folder() {
        ombrel_close_ftp_server(server_);
        ombrel_free_event_base(base_);
    }

    bool open(injection& fail) {
        server_ = fail.during([this] { return ombrel_open_ftp_server(base_, nullptr); });
        EXPECT_TRUE(server_ != nullptr || fail.hit());
        return server_ != nullptr;
    }
    /// Whether it could.
    bool load(injection& fail) {
        ombrel_ftp_account_fault_t fault;
        const int64_t count = fail.during(
            [&] { return ombrel_ftp_server_load_accounts(server_, (folder_ / "accounts").c_str(), &fault); });
        EXPECT_TRUE(count == 1 ||
                    (count == -1 && fail.hit() && ombrel_last_fault() == def_ombrel_fault_no_memory));
        return count == 1;
    }
    bool listen(injection& fail) {
        port_ = fail.during([this] { return ombrel_ftp_server_listen(server_, "127.0.0.1", 0); });
        EXPECT_TRUE(port_ > 0 || (port_ == -1 && fail.hit()));
        return port_ > 0;
    }
    /// What a client hears that says all at once and waits for the end.
    std::string talk(injection& fail, const std::string& text) {
        const owned_socket s(ombrel_open_connect_socket("127.0.0.1", port_, 10000));
        std::string heard;
        ombrel_send(s, text.data(), text.size(), 10000);
        ombrel_shutdown_socket(s, def_ombrel_shutdown_send);
        fail.during([&] {
            char bytes[4096];
            for (int size = def_ombrel_socket_would_block;
                 size > 0 || size == def_ombrel_socket_would_block;) {
                ombrel_event_base_loop(base_, def_ombrel_event_loop_non_block);
                size = ombrel_recv_now(s, bytes, sizeof bytes);
                heard.append(bytes, static_cast<size_t>(size > 0 ? size : 0));
            }
            return 0;
        });
        return heard;
    }

private:
    const scratch_directory folder_;
    ombrel_event_base_t* base_ = ombrel_new_event_base();
    ombrel_ftp_server_t* server_ = nullptr;
    int port_ = 0;
};

OMBREL_FAILURES(FtpServer, sessions) {
    served_folder served;
    if (!served.open(fail) || !served.load(fail) || !served.listen(fail))
        return;
    const owned_socket data(ombrel_open_listen_socket("127.0.0.1", 0));
    const int port = own_port(data);
    const std::string aim =
        "PORT 127,0,0,1," + std::to_string(port / 256) + "," + std::to_string(port % 256) + "\r\n";
    const std::string heard = served.talk(
        fail, "USER ann\r\nPASS pw\r\nCWD /\r\n" + aim + "NLST\r\n" + aim + "RETR file\r\n" + aim +
                  "MLSD .\r\nTYPE A\r\n" + aim + "RETR file\r\nRNFR file\r\nMLST file\r\nSTAT .\r\nQUIT\r\n");
    EXPECT_TRUE(fail.hit() || heard.find("221 ") != std::string::npos) << heard;
    injection none(0, injection::failing::once);
    EXPECT_NE(std::string::npos, served.talk(none, "USER ann\r\nPASS pw\r\nQUIT\r\n").find("230 "));
}

} // namespace
} // namespace ombrel_test
