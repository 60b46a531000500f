// Reads any bytes as what the host tells of a process, finds a name again that was written as the host does,
// and looks for any name by any pattern.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <ombrel/process_list.h>

#include "platform/linux/process_stat.h"
#include "support/require.h"

namespace {

using ombrel::platform::parse_process_stat;
using ombrel::platform::process_stat;

void read_back(std::string_view name) {
    std::string line =
        "12 (" + std::string(name) + ") S 3 4 5 -1 -6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22\n";
    process_stat found;
    require(parse_process_stat(line.data(), line.size(), found), "what was written is read");
    require(std::string(found.name) == std::string(name).c_str(), "the name that was written");
    require(found.state == 'S' && found.parent == 3 && found.group == 4 && found.user_ticks == 12 &&
                found.system_ticks == 13 && found.threads == 18 && found.start_ticks == 20 &&
                found.bytes == 21 && found.resident_pages == 22,
            "the numbers that were written");
}

/// A pattern, a name and arguments, with zeros between them.
void look_for(std::string_view bytes) {
    std::vector<std::string> texts;
    for (size_t at = 0; at <= bytes.size() && texts.size() < 8;
         at = std::min(bytes.find('\0', at), bytes.size()) + 1)
        texts.emplace_back(bytes.substr(at, bytes.find('\0', at) - at));
    texts.resize(std::max<size_t>(texts.size(), 2));
    std::vector<const char*> arguments;
    for (size_t i = 2; i < texts.size(); i++)
        arguments.push_back(texts[i].c_str());
    ombrel_process_info_t info{};
    info.m_argument_count = arguments.size();
    arguments.push_back(nullptr);
    info.m_arguments = arguments.data();
    info.m_name = info.m_full_name = texts[1].c_str();
    const int result = ombrel_check_process_name(texts[0].c_str(), &info);
    require(result == 0 || result == -1, "a match or none");
    const bool has_name = !texts[1].empty() && texts[1].size() <= 1024;
    require(!has_name || ombrel_check_process_name("*", &info) == 0, "every name is any name");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    std::string copy(bytes);
    process_stat found;
    if (parse_process_stat(copy.data(), copy.size(), found))
        require(std::string(found.name).size() <= size, "the name is a part");
    read_back(bytes);
    look_for(bytes);
    return 0;
}
