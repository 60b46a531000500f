// A download over HTTP that is broken off and gone on with: the target is whole, or is not there.
#include <ombrel/download.h>
#include <ombrel/fault.h>

#include "alloc_failure/injection.h"
#include "protocol/scripted_http_server.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

const std::string validators = "ETag: \"e\"\r\nAccept-Ranges: bytes\r\n";

OMBREL_FAILURES(Download, over_http) {
    const scripted_http_server server(
        {ASK "HTTP/1.1 302 x\r\nLocation: /b\r\nContent-Length: 0\r\n\r\n" ASK "HTTP/1.1 200 x\r\n" +
             validators + "Content-Length: 10\r\n\r\n01234",
         ASK "HTTP/1.1 302 x\r\nLocation: /b\r\nContent-Length: 0\r\n\r\n" ASK "HTTP/1.1 206 x\r\n" +
             validators + "Content-Range: bytes 5-9/10\r\nContent-Length: 5\r\n\r\n56789",
         ASK "HTTP/1.1 200 x\r\n" + validators + "Content-Length: 10\r\n\r\n0123456789"});
    const scratch_directory directory;
    const std::string target = directory / "file";
    ombrel_download_options_t options;
    ombrel_init_download_options(&options);
    options.m_first_pause_ms = options.m_longest_pause_ms = 1;
    options.m_digest = "sha256:84d89877f0d4041efb6bf91a16f0248f2fd573e6af05c19f96bedb9f882f7882";
    ombrel_download_result_t result;
    const int done = fail.during(
        [&] { return ombrel_download_file(server.uri("/a").c_str(), target.c_str(), &options, &result); });
    EXPECT_EQ(done == 0 ? def_ombrel_fault_none : ombrel_last_fault(), result.m_error.m_fault);
    EXPECT_TRUE(done == 0 || fail.hit()) << result.m_error.m_text;
    EXPECT_EQ(done == 0 ? "0123456789" : "", directory.read("file"));
    EXPECT_EQ(done == 0, result.m_reason == def_ombrel_download_reason_none);
}

} // namespace
} // namespace ombrel_test
