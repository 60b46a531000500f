// What answers about directories have in common.
#include "core/fault.h"
#include "protocol/http/http_directory_internal.h"
#include "text/digits.h"

namespace ombrel::protocol {

int answer_by_fault(http_exchange& exchange) {
    const fault_code code = last_fault().code;
    const bool ran_out = code == fault_code::no_descriptor || code == fault_code::no_memory;
    return ombrel_http_exchange_answer_error(&exchange, ran_out ? 503 : 404, nullptr);
}

bool put_encoded(counted_block& text, memory_budget& budget, std::string_view path) {
    constexpr std::string_view kept = "-._~/!$()*+,;=:@";
    for (const char c : path) {
        const unsigned char byte = static_cast<unsigned char>(c);
        const bool is_plain = (byte >= '0' && byte <= '9') || ((byte | 32) >= 'a' && (byte | 32) <= 'z');
        char encoded[3] = {'%'};
        put_hex(encoded + 1, byte);
        const bool stays = is_plain || kept.find(c) != std::string_view::npos;
        if (!text.append(budget, stays ? &c : encoded, stays ? 1 : sizeof encoded,
                         "ombrel_serve_http_directory"))
            return false;
    }
    return true;
}

} // namespace ombrel::protocol
