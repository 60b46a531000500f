// What becomes of fragments, told from a list of all that came.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <ombrel/fragment.h>

struct sent_fragment {
    int sender;
    uint32_t identifier, offset, total;
    std::string data;
};

/// A fragment as it is sent, whatever it says.
inline std::string make_fragment(const sent_fragment& what) {
    std::string whole(what.total, '\0'), fragment(def_ombrel_fragment_head_size + what.data.size(), '\0');
    whole.replace(what.offset, what.data.size(), what.data);
    ombrel_fragment_splitter_t splitter = {};
    splitter.m_data = reinterpret_cast<const unsigned char*>(whole.data());
    splitter.m_size = what.total;
    splitter.m_at = what.offset;
    splitter.m_fragment_size = fragment.size();
    splitter.m_identifier = what.identifier;
    ombrel_fragment_splitter_next(&splitter, fragment.data());
    return fragment;
}

class fragment_model {
public:
    explicit fragment_model(int64_t time_limit) : time_limit_(time_limit) {}

    /// What a take gives; `whole` is the datagram that became so.
    int take(const sent_fragment& what, int64_t now, std::string& whole) {
        std::erase_if(held_, [&](const auto& each) { return now - each.second.since >= time_limit_; });
        const auto key = std::pair(what.sender, what.identifier);
        const auto found = held_.find(key);
        if (found == held_.end() && what.data.size() == what.total) {
            whole = what.data;
            return 1;
        }
        datagram& held = held_.try_emplace(key, datagram{now, what.total, gathering, {}}).first->second;
        if (held.state != gathering)
            return held.state == given ? 0 : -1;
        for (const sent_fragment& each : held.pieces)
            if (each.offset == what.offset && each.data == what.data && each.total == what.total)
                return 0;
        const bool is_overlapping =
            std::any_of(held.pieces.begin(), held.pieces.end(), [&](const auto& each) {
                return each.offset < what.offset + what.data.size() &&
                       what.offset < each.offset + each.data.size();
            });
        if (is_overlapping || held.total != what.total) {
            held = {now, held.total, refused, {}};
            return -1;
        }
        held.pieces.push_back(what);
        whole.assign(held.total, '\0');
        size_t size = 0;
        for (const sent_fragment& each : held.pieces) {
            whole.replace(each.offset, each.data.size(), each.data);
            size += each.data.size();
        }
        if (size < held.total)
            return 0;
        held = {now, held.total, given, {}};
        return 1;
    }
    size_t held() const { return held_.size(); }

private:
    enum state_kind { gathering, refused, given };
    struct datagram {
        int64_t since;
        uint32_t total;
        state_kind state;
        std::vector<sent_fragment> pieces;
    };

    int64_t time_limit_;
    std::map<std::pair<int, uint32_t>, datagram> held_;
};
