// Sets, reads and removes options of a context, beside a model.

#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include <ombrel/ctx.h>
#include <ombrel/string.h>

#include "support/byte_source.h"

namespace {

struct in_either_case {
    bool operator()(const std::string& a, const std::string& b) const {
        return ombrel_strcasecmp(a.c_str(), b.c_str()) < 0;
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    byte_source bytes(data, size);
    std::map<std::string, std::string, in_either_case> model;
    const int ctx = ombrel_new_ctx();
    require(ctx > 0);
    while (!bytes.is_empty()) {
        const unsigned work = bytes.number(4);
        const std::string name = bytes.text(), text = bytes.text();
        const bool is_good = !name.empty();
        int result = 0;
        if (work == 0)
            result = ombrel_ctx_set_option(ctx, name.c_str(), nullptr);
        else if (work == 1)
            result = ombrel_ctx_set_option(ctx, name.c_str(), text.c_str());
        else if (work == 2)
            result = ombrel_ctx_set_option_fstring(ctx, name.c_str(), "%s", text.c_str());
        else
            result = ombrel_ctx_set_option_string(ctx, name.c_str(), text.c_str());
        require(result == (is_good ? 0 : -1));
        if (is_good && work == 0)
            model.erase(name);
        else if (is_good)
            model[name] = text;
        for (const auto& [each, expected] : model) {
            const char* const found = ombrel_ctx_get_option(ctx, each.c_str());
            require(found != nullptr && expected == found);
        }
        require((ombrel_ctx_get_option(ctx, name.c_str()) != nullptr) == (model.count(name) > 0));
    }
    require(ombrel_destroy_ctx(ctx) == 0);
    return 0;
}
