#include "protocol/http/http_fault.h"

#include <iterator>

#include <ombrel/http_parser.h>

namespace ombrel::protocol {

namespace {

constexpr fault_code bad = fault_code::violation, large = fault_code::too_large;

/// In the order of their numbers.
constexpr http_fault_kind kinds[] = {
    {0, fault_code::none, "none"},
    {400, bad, "start line without three parts"},
    {400, bad, "method that is no token"},
    {400, bad, "target that is none for the method"},
    {400, bad, "no version of HTTP"},
    {505, bad, "neither HTTP/1.0 nor HTTP/1.1"},
    {400, bad, "no status"},
    {414, large, "start line too long"},
    {400, bad, "line end without carriage return"},
    {400, bad, "carriage return within a line"},
    {400, bad, "folded line"},
    {400, bad, "field name that is no token"},
    {400, bad, "white space before a colon"},
    {400, bad, "field without a colon"},
    {400, bad, "control character in a value"},
    {431, large, "field too long"},
    {431, large, "too many fields"},
    {431, large, "head too large"},
    {400, bad, "no Host field"},
    {400, bad, "two Host fields"},
    {400, bad, "Host that is no host"},
    {400, bad, "Content-Length that is no number"},
    {400, bad, "two Content-Length fields"},
    {400, bad, "Content-Length beside Transfer-Encoding"},
    {400, bad, "Transfer-Encoding that does not end with one chunked"},
    {501, bad, "transfer coding other than chunked"},
    {400, bad, "Transfer-Encoding in HTTP/1.0"},
    {400, bad, "CONNECT with a body"},
    {400, bad, "chunk size that is no number"},
    {400, bad, "malformed line of a chunk"},
    {400, large, "line of a chunk too long"},
    {400, bad, "no line end behind a chunk"},
    {400, bad, "field that may not be a trailer"},
    {431, large, "trailers too large"},
    {413, large, "body too large"},
    {400, bad, "message broken off"},
    {503, fault_code::no_memory, "memory ran out"},
};
static_assert(std::size(kinds) == def_ombrel_http_fault_no_memory + 1);

constexpr http_fault_kind unknown = {0, fault_code::other, "unknown"};

} // namespace

const http_fault_kind& http_fault_kind_of(int reason) {
    return reason < 0 || reason >= static_cast<int>(std::size(kinds)) ? unknown : kinds[reason];
}

} // namespace ombrel::protocol

const char* ombrel_http_fault_text(int reason) {
    return ombrel::protocol::http_fault_kind_of(reason).text;
}
