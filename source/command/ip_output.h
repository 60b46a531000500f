// How the command "ip" shows interfaces, routes and neighbours: for people, and as JSON with the names that
// others use.
#pragma once

#include <ombrel/neighbour.h>
#include <ombrel/network_interface.h>
#include <ombrel/route.h>

#include "command/json_output.h"

namespace ombrel::command {

/// The name of an interface, as long as it lives: "if7" for one that has none.
class interface_label {
public:
    explicit interface_label(uint32_t index);
    const char* get() const { return text_; }

private:
    char text_[64];
};

// The members of an object that somebody else begins and ends.
void put_interface_members(json_output& json, const ombrel_network_interface_t& one, bool with_statistics);
void put_address_members(json_output& json, const ombrel_interface_address_t& one);
void put_route_members(json_output& json, const ombrel_route_t& one);
void put_neighbour_members(json_output& json, const ombrel_neighbour_t& one);

// A line each, without its end.
void print_interface(const ombrel_network_interface_t& one);
void print_statistics(const ombrel_interface_statistics_t& statistics);
void print_address(const ombrel_interface_address_t& one);
void print_route(const ombrel_route_t& one);
void print_neighbour(const ombrel_neighbour_t& one);

} // namespace ombrel::command
