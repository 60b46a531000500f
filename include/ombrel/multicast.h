/**
 * @file multicast.h
 * @brief Multicast membership of a socket. Any thread.
 *
 * Groups and sources are IPv4 or IPv6 addresses; their ports do not matter. An interface is named by its
 * index or by its name: index 0 with a name looks the name up, an unknown name fails, index 0 with a null
 * name leaves the choice to the system. All functions return 0 or -1, and -1 for a missing group.
 */
#ifndef OMBREL_MULTICAST_H
#define OMBREL_MULTICAST_H

#include <stdint.h>

#include <ombrel/address.h>
#include <ombrel/export.h>

OMBREL_BEGIN_C

/**
 * @brief Joins or leaves a group on one interface.
 *
 * An IPv4 group is joined for each address of the interface; it is enough that one of them succeeds.
 * @param s               a datagram socket
 * @param group_addr      the group
 * @param interface_index the interface's index, or 0
 * @param interface_name  the interface's name, or null
 * @param join            nonzero joins, 0 leaves
 * @return 0 or -1
 */
OMBREL_API int ombrel_multicast_join(int s, const struct sockaddr* group_addr, uint32_t interface_index,
                                     const char* interface_name, int join);

/**
 * @brief Joins or leaves a group for one sender on one interface.
 * @param s the socket
 * @param group  the group
 * @param source the sender, of the group's family; null acts as ombrel_multicast_join()
 * @param interface_index the interface, 0 for none named
 * @param interface_name its name, or null
 * @param join   nonzero joins, 0 leaves
 * @return 0 or -1
 */
OMBREL_API int ombrel_multicast_join_source_group(int s, const struct sockaddr* group,
                                                  const struct sockaddr* source, uint32_t interface_index,
                                                  const char* interface_name, int join);

/**
 * @brief Shuts out one sender of a joined group on one interface, or lets it in again.
 * @param s the socket
 * @param group  the group
 * @param source the sender, of the group's family; required
 * @param interface_index the interface, 0 for none named
 * @param interface_name its name, or null
 * @param block  nonzero blocks, 0 unblocks
 * @return 0 or -1
 */
OMBREL_API int ombrel_multicast_block_source_group(int s, const struct sockaddr* group,
                                                   const struct sockaddr* source, uint32_t interface_index,
                                                   const char* interface_name, int block);

/**
 * @brief ombrel_multicast_join() on every multicast interface that is up and has an address of the group's
 *        family, or on the system's choice when the interfaces cannot be listed.
 * @return 0 when at least one interface succeeded, else -1
 */
OMBREL_API int ombrel_multicast_join_all(int s, const struct sockaddr* group_addr, int join);

/** @brief ombrel_multicast_join_source_group() on every interface as ombrel_multicast_join_all() walks them.
 */
OMBREL_API int ombrel_multicast_join_source_group_all(int s, const struct sockaddr* group,
                                                      const struct sockaddr* source, int join);

/** @brief ombrel_multicast_block_source_group() on every interface as ombrel_multicast_join_all() walks them.
 */
OMBREL_API int ombrel_multicast_block_source_all(int s, const struct sockaddr* group,
                                                 const struct sockaddr* source, int block);

/**
 * @brief Joins or leaves an IPv4 group on the interface that has an address.
 * @param s the socket
 * @param group_in4     the group
 * @param interface_in4 the interface's address; null acts as ombrel_multicast_join_all()
 * @param join          nonzero joins, 0 leaves
 * @return 0 or -1
 */
OMBREL_API int ombrel_inet_multicast_join(int s, const struct in_addr* group_in4,
                                          const struct in_addr* interface_in4, int join);

/**
 * @brief Joins or leaves an IPv6 group on one interface.
 * @param s the socket
 * @param group_in6       the group
 * @param interface_index the interface's index, 0 for the system's choice; -1 acts as
 *                        ombrel_multicast_join_all()
 * @param join            nonzero joins, 0 leaves
 * @return 0 or -1
 */
OMBREL_API int ombrel_inet6_multicast_join(int s, const struct in6_addr* group_in6, int interface_index,
                                           int join);

OMBREL_END_C

#endif
