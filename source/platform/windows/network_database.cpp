#include "platform/network_database.h"

#include <cstdint>
#include <cstring>

#include "platform/windows/wide_text.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

namespace {

/// Winsock answers nothing before it was started, which may be done many times.
class winsock_use {
public:
    winsock_use() {
        WSADATA data;
        is_started_ = WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }
    ~winsock_use() {
        if (is_started_)
            WSACleanup();
    }
    winsock_use(const winsock_use&) = delete;
    winsock_use& operator=(const winsock_use&) = delete;

    explicit operator bool() const { return is_started_; }

private:
    bool is_started_;
};

} // namespace

// Each thread has a record of its own for the answers.
bool find_protocol(const char* name, int& number) {
    const winsock_use winsock;
    const protoent* const found = winsock ? getprotobyname(name) : nullptr;
    if (found != nullptr)
        number = found->p_proto;
    return found != nullptr;
}

bool find_service(const char* name, const char* protocol, int& port) {
    const winsock_use winsock;
    const servent* const found = winsock ? getservbyname(name, protocol) : nullptr;
    if (found != nullptr)
        port = ntohs(static_cast<uint16_t>(found->s_port));
    return found != nullptr;
}

bool host_name(char* buffer, size_t size) {
    wchar_t name[256];
    DWORD units = 256;
    if (GetComputerNameExW(ComputerNameDnsHostname, name, &units) == 0)
        return false;
    const narrow_text text(name);
    if (!text || text.size() >= size)
        return false;
    memcpy(buffer, text.get(), text.size() + 1);
    return true;
}

} // namespace ombrel::platform
