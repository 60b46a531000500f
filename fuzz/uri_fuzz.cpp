// Reads any text as a resource name, beside the regular expression of RFC 3986, Appendix B.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <regex.h>

#include <ombrel/heap.h>
#include <ombrel/uri.h>

#include "support/require.h"

namespace {

const regex_t& published_expression() {
    static const regex_t expression = [] {
        regex_t compiled;
        require(regcomp(&compiled, "^(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\\?([^#]*))?(#(.*))?",
                        REG_EXTENDED) == 0,
                "the expression compiles");
        return compiled;
    }();
    return expression;
}

bool is_group(const std::string& text, const regmatch_t& group, const char* part) {
    if (group.rm_so < 0 || part == nullptr)
        return group.rm_so < 0 && part == nullptr;
    return text.compare(static_cast<size_t>(group.rm_so), static_cast<size_t>(group.rm_eo - group.rm_so),
                        part) == 0;
}

void check_uri(const std::string& text, const ombrel_uri_t& uri) {
    regmatch_t groups[10];
    require(regexec(&published_expression(), text.c_str(), 10, groups, 0) == 0, "the expression matches");
    require(is_group(text, groups[5], uri.m_encoded_path), "path");
    require(is_group(text, groups[7], uri.m_query), "query");
    require(is_group(text, groups[9], uri.m_fragment), "fragment");
    require((groups[3].rm_so >= 0) == (uri.m_host != nullptr), "host");
    require(text.size() == std::string(uri.m_scheme).size() + 1 + std::string(uri.m_rest).size(), "rest");
    require(uri.m_port >= -1 && uri.m_port <= 65535, "port");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
    const size_t live = ombrel_get_alloc_count();
    if (ombrel_uri_t* uri = ombrel_parse_uri(text.c_str())) {
        if (uri->m_is_plain_path)
            require(text == uri->m_path && text == uri->m_rest, "a plain path stays as it is");
        else
            check_uri(text, *uri);
        ombrel_free_uri(uri);
    }
    char* decoded = ombrel_decode_uri(text.c_str(), size);
    require(decoded == nullptr || std::string(decoded).size() <= text.size(), "decoding never lengthens");
    ombrel_check_free(decoded);
    require(ombrel_get_alloc_count() == live, "nothing stays behind");
    return 0;
}
