// How the command "ip" shows interfaces, routes and neighbours: for people, and as JSON with the names that
// others use.
#pragma once

#include <cstdint>
#include <iterator>

#include <ombrel/neighbour.h>
#include <ombrel/network_interface.h>
#include <ombrel/route.h>

#include "command/json_output.h"

namespace ombrel::command {

/// The names of interfaces, which are remembered, so that those that are gone keep theirs.
class interface_names {
public:
    /// "if7" for one that nobody knows. It lives until another is asked for.
    const char* get(uint32_t index);
    void note(uint32_t index, const char* name);

private:
    struct entry {
        uint32_t index;
        char name[64];
    };
    entry& place_of(uint32_t index) { return entries_[index % std::size(entries_)]; }

    entry entries_[128]{};
    entry unknown_{};
};

// The members of an object that somebody else begins and ends.
void put_interface_members(json_output& json, const ombrel_network_interface_t& one, interface_names& names,
                           bool with_statistics);
void put_address_members(json_output& json, const ombrel_interface_address_t& one);
void put_route_members(json_output& json, const ombrel_route_t& one, interface_names& names);
void put_neighbour_members(json_output& json, const ombrel_neighbour_t& one, interface_names& names);

// A line each, without its end.
void print_interface(const ombrel_network_interface_t& one, interface_names& names);
void print_statistics(const ombrel_interface_statistics_t& statistics);
void print_address(const ombrel_interface_address_t& one);
void print_route(const ombrel_route_t& one, interface_names& names);
void print_neighbour(const ombrel_neighbour_t& one, interface_names& names);

} // namespace ombrel::command
