// Secrets, log-in, forms and programs of web servers.
#include <string>

#include <ombrel/fault.h>
#include <ombrel/secret.h>

#include "alloc_failure/injection.h"
#include "support/scratch_directory.h"

namespace ombrel_test {
namespace {

/// Of the password "password".
const std::string anns = "ann:$pbkdf2-sha256$1$c2FsdA$Eg.2z/z4syxD5yJSVsT4N6hlSMkszDVICAWYfLcL4Xs\n";

OMBREL_FAILURES(Http, secrets) {
    const scratch_directory folder;
    const std::string path = folder.file("passwords", anns);
    null_when_hit(fail, ombrel_close_secret_list,
                  [] { return ombrel_open_secret_text(anns.data(), anns.size(), nullptr, nullptr); });
    ombrel_secret_list_options_t options;
    ombrel_init_secret_list_options(&options);
    options.m_look_ms = 0;
    ombrel_secret_list_t* const list =
        fail.during([&] { return ombrel_open_secret_list(path.c_str(), &options, nullptr); });
    EXPECT_EQ(fail.hit(), list == nullptr);
    EXPECT_TRUE(list != nullptr || ombrel_last_fault() == def_ombrel_fault_no_memory);
    folder.write("passwords", anns + "bob" + anns.substr(3));
    const int refreshed = fail.during([&] { return ombrel_secret_list_refresh(list); });
    EXPECT_EQ(list == nullptr || fail.hit() ? -1 : 1, refreshed);
    EXPECT_EQ(list == nullptr ? 0u : refreshed == 1 ? 2u : 1u, ombrel_secret_list_get_count(list));
    EXPECT_EQ(list == nullptr ? -1 : 1, ombrel_secret_list_check(list, "ann", "password"));
    ombrel_close_secret_list(list);
}

} // namespace
} // namespace ombrel_test
