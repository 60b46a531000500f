// The machine's routes and neighbours, as they were at one moment.
#pragma once

#include <cstddef>
#include <cstdint>

#include <ombrel/neighbour.h>
#include <ombrel/route.h>

namespace ombrel::platform {

/// All routes of one or both families, or the one that a destination would take. Walks are those of
/// interface_list.
class route_list {
public:
    route_list() = default;
    ~route_list();
    route_list(const route_list&) = delete;
    route_list& operator=(const route_list&) = delete;

    /// Every route of a family, of both for 0, IPv4 first; false, with the fault left: too_large beyond
    /// `most`.
    bool list(int family, size_t most);
    /// The route to a destination, from a source and by an interface if they are given (null and 0).
    bool look_up(const sockaddr& destination, const sockaddr* source, uint32_t interface_index);

    void rewind();
    /// The next route. Of its hops it has the number; next_hop() walks them.
    int next(ombrel_route_t& route);
    bool next_hop(ombrel_route_hop_t& hop);
    /// Whether one of the hops of the present route leaves by an interface; the walk over them stays.
    bool has_hop_by(uint32_t interface_index) const;

private:
    struct state;
    state* state_ = nullptr;
};

class neighbour_list {
public:
    neighbour_list() = default;
    ~neighbour_list();
    neighbour_list(const neighbour_list&) = delete;
    neighbour_list& operator=(const neighbour_list&) = delete;

    /// Every neighbour of a family, of both for 0.
    bool list(int family, size_t most);
    void rewind();
    int next(ombrel_neighbour_t& neighbour);

private:
    struct state;
    state* state_ = nullptr;
};

} // namespace ombrel::platform
