// A pattern up to the first zero byte, and a subject behind it.

#include <cstdint>
#include <cstdlib>
#include <string>

#include <ombrel/regular.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string pattern = input.substr(0, input.find('\0'));
    const std::string subject = input.size() > pattern.size() ? input.substr(pattern.size() + 1) : "";
    const int length = static_cast<int>(subject.size());
    ombrel_regular_capture_t captures[130];
    for (const unsigned flags : {0u, 1u}) {
        const int result =
            ombrel_regular_match(flags, pattern.c_str(), subject.data(), length, captures, 130);
        if (result > 0 || result < -7)
            abort();
        const char* end = subject.data() + length;
        for (const auto& capture : captures)
            if (result == 0 && capture.m_start != nullptr &&
                (capture.m_start < subject.data() || capture.m_start > end || capture.m_length < 0 ||
                 capture.m_length > end - capture.m_start))
                abort();
        if (result == 0 && captures[0].m_start == nullptr)
            abort();
    }
    return 0;
}
