// Sessions of FTP while memory runs out.
#include <ombrel/fault.h>
#include <ombrel/ftp.h>

#include "alloc_failure/injection.h"
#include "protocol/scripted_ftp_server.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

OMBREL_FAILURES(Ftp, a_session) {
    const scripted_ftp_server server("", data_end::whole, "x\r\ny\r\n");
    const scratch_directory directory;
    const std::string file = directory / "file";
    ombrel_ftp_t* const ftp = fail.during([] { return ombrel_open_ftp(nullptr); });
    EXPECT_EQ(fail.hit(), ftp == nullptr);
    if (ftp == nullptr)
        return;
    done_or_refused(fail, [&] { return ombrel_ftp_connect(ftp, "127.0.0.1", server.port()); });
    if (ombrel_ftp_is_connected(ftp)) {
        EXPECT_EQ(0, ombrel_ftp_log_in(ftp, nullptr, nullptr, nullptr));
        done_or_refused(fail, [&] { return ombrel_ftp_download(ftp, "file", file.c_str(), 0); });
        const auto skip = [](const ombrel_ftp_entry_t*, void*) { return 0; };
        done_or_refused(
            fail, [&] { return ombrel_ftp_list(ftp, nullptr, def_ombrel_ftp_list_names, skip, nullptr); });
        null_when_hit(fail, free_block, [&] {
            return ombrel_alloc_ftp_list(ftp, nullptr, def_ombrel_ftp_list_names, nullptr);
        });
        EXPECT_EQ(215, ombrel_ftp_command(ftp, "SYST", nullptr)) << "the session goes on";
    }
    ombrel_close_ftp(ftp);
}

} // namespace
} // namespace ombrel_test
