// How transfers end by a failure, and which schemes there may be.
#include "protocol/download/download_source.h"

#include <algorithm>
#include <string_view>

#include "text/uri_scheme.h"

namespace ombrel::protocol {

namespace {

using std::string_view;

constexpr string_view usual_schemes = "https|http|ftps|ftp|tftp|file";

constexpr fault_code of_the_moment[] = {fault_code::would_block,
                                        fault_code::interrupted,
                                        fault_code::in_progress,
                                        fault_code::timed_out,
                                        fault_code::busy,
                                        fault_code::refused,
                                        fault_code::unreachable,
                                        fault_code::not_connected,
                                        fault_code::aborted,
                                        fault_code::reset,
                                        fault_code::closed,
                                        fault_code::input_output,
                                        fault_code::other,
                                        fault_code::unknown_host,
                                        fault_code::address_in_use,
                                        fault_code::violation,
                                        fault_code::address_not_available};

} // namespace

source_end end_by_fault(fault_code code) {
    const bool is_for_now =
        std::find(std::begin(of_the_moment), std::end(of_the_moment), code) != std::end(of_the_moment);
    return is_for_now ? source_end::failed : source_end::refused;
}

source_end fail_source(const transfer& what, fault_code code, string_view text, int peer_code) {
    what.error.set(code, text, peer_code);
    return end_by_fault(code);
}

bool is_allowed(const ombrel_download_options_t& options, const char* uri) {
    return is_listed_scheme(options.m_schemes != nullptr ? string_view(options.m_schemes) : usual_schemes,
                            scheme_of(uri));
}

} // namespace ombrel::protocol
