/**
 * @file objects.hpp
 * @brief Owners of all objects that have no functions of their own in C++: get() is for the C functions.
 *
 * @code
 * ombrel::directory_walk walk(ombrel_open_walk("src", nullptr));
 * while (walk && ombrel_walk_next(walk.get(), &entry) == 1)
 *     use(entry);
 * @endcode
 */
#ifndef OMBREL_CPP_OBJECTS_HPP
#define OMBREL_CPP_OBJECTS_HPP

#include <ombrel/base64.h>
#include <ombrel/cgi.h>
#include <ombrel/charset.h>
#include <ombrel/charset_detect.h>
#include <ombrel/daemon.h>
#include <ombrel/digest_list.h>
#include <ombrel/directory.h>
#include <ombrel/dl.h>
#include <ombrel/event_base.h>
#include <ombrel/file.h>
#include <ombrel/fragment.h>
#include <ombrel/ftp.h>
#include <ombrel/ftp_server.h>
#include <ombrel/http_auth.h>
#include <ombrel/http_directory.h>
#include <ombrel/http_field.h>
#include <ombrel/http_form.h>
#include <ombrel/http_parser.h>
#include <ombrel/launcher.h>
#include <ombrel/match_filter.h>
#include <ombrel/md5.h>
#include <ombrel/neighbour.h>
#include <ombrel/network_interface.h>
#include <ombrel/network_watch.h>
#include <ombrel/nmea.h>
#include <ombrel/packet.h>
#include <ombrel/process_list.h>
#include <ombrel/process_service.h>
#include <ombrel/pseudo_terminal.h>
#include <ombrel/quoted_printable.h>
#include <ombrel/route.h>
#include <ombrel/secret.h>
#include <ombrel/select.h>
#include <ombrel/serial.h>
#include <ombrel/sha1.h>
#include <ombrel/sha256.h>
#include <ombrel/spin_lock.h>
#include <ombrel/ssdp.h>
#include <ombrel/stack.h>
#include <ombrel/string_node.h>
#include <ombrel/terminal.h>
#include <ombrel/tftp.h>
#include <ombrel/tftp_server.h>
#include <ombrel/uri.h>
#include <ombrel/value.h>
#include <ombrel/window_event.h>
#include <ombrel/xml_path.h>

#include <ombrel/cpp/owner.hpp>

namespace ombrel {

/** @cond */
namespace detail {
inline int close_md5(ombrel_md5_t* made) {
    return ombrel_close_md5(made, nullptr);
}
inline int close_sha1(ombrel_sha1_t* made) {
    return ombrel_close_sha1(made, nullptr);
}
inline int close_sha256(ombrel_sha256_t* made) {
    return ombrel_close_sha256(made, nullptr);
}
inline int free_uri(ombrel_uri_t* uri) {
    return ombrel_free_uri_tag(uri, "ombrel::uri", 0);
}
} // namespace detail
/** @endcond */

/** @name Owners
 * Each is made of what the C function that opens gave, and is `false` when that failed. @{ */
/** See base64.h. */
using base64_coder = owner<&ombrel_close_base64>;
/** See cgi.h. */
using cgi = owner<&ombrel_close_cgi>;
/** See cgi.h. */
using cgi_service = owner<&ombrel_close_cgi_service>;
/** See charset.h. */
using charset_converter = owner<&ombrel_close_charset_converter>;
/** See charset_detect.h. */
using charset_detector = owner<&ombrel_close_charset_detector>;
/** See daemon.h. */
using daemon = owner<&ombrel_close_daemon>;
/** See digest_list.h. */
using digest_list = owner<&ombrel_close_digest_list>;
/** See directory.h. */
using directory = owner<&ombrel_close_directory>;
/** See directory.h. */
using directory_walk = owner<&ombrel_close_walk>;
/** See dl.h. */
using dynamic_library = owner<&ombrel_close_dl>;
/** See file.h. */
using file_store = owner<&ombrel_close_file_store>;
/** See fragment.h. */
using fragment_assembler = owner<&ombrel_close_fragment_assembler>;
/** See ftp.h. */
using ftp = owner<&ombrel_close_ftp>;
/** See ftp_server.h. */
using ftp_server = owner<&ombrel_close_ftp_server>;
/** See http_auth.h. */
using http_auth_client = owner<&ombrel_close_http_auth_client>;
/** See http_auth.h. */
using http_auth_server = owner<&ombrel_close_http_auth_server>;
/** See http_directory.h. */
using http_directory = owner<&ombrel_close_http_directory>;
/** See http_field.h. */
using http_fields = owner<&ombrel_close_http_fields>;
/** See http_form.h. */
using http_form = owner<&ombrel_close_http_form>;
/** See http_parser.h. */
using http_parser = owner<&ombrel_close_http_parser>;
/** See launcher.h. */
using launcher = owner<&ombrel_close_launcher>;
/** See match_filter.h. */
using match_filter = owner<&ombrel_close_match_filter>;
/** See md5.h. */
using md5 = owner<&detail::close_md5>;
/** See neighbour.h. */
using neighbour_list = owner<&ombrel_close_neighbour_list>;
/** See network_interface.h. */
using network_interface_list = owner<&ombrel_close_network_interface>;
/** See network_watch.h. */
using network_watch = owner<&ombrel_close_network_watch>;
/** See nmea.h. */
using nmea_reader = owner<&ombrel_close_nmea_reader>;
/** See packet.h. */
using packet_reader = owner<&ombrel_close_packet_reader>;
/** See daemon.h. */
using pid_file = owner<&ombrel_close_pid_file>;
/** See process_list.h. */
using process_list = owner<&ombrel_close_process_list>;
/** See process_service.h. */
using process_service = owner<&ombrel_close_process_service>;
/** See pseudo_terminal.h. */
using pseudo_terminal = owner<&ombrel_close_pseudo_terminal>;
/** See quoted_printable.h. */
using quoted_printable_coder = owner<&ombrel_close_quoted_printable>;
/** See route.h. */
using route = owner<&ombrel_close_route>;
/** See route.h. */
using route_list = owner<&ombrel_close_route_list>;
/** See secret.h. */
using secret_list = owner<&ombrel_close_secret_list>;
/** See select.h. */
using select = owner<&ombrel_close_select>;
/** See serial.h. */
using serial = owner<&ombrel_close_serial>;
/** See sha1.h. */
using sha1 = owner<&detail::close_sha1>;
/** See sha256.h. */
using sha256 = owner<&detail::close_sha256>;
/** See spin_lock.h. */
using spin_lock = owner<&ombrel_free_spin_lock>;
/** See ssdp.h. */
using ssdp = owner<&ombrel_close_ssdp>;
/** See stack.h. */
using stack = owner<&ombrel_free_stack>;
/** See string_node.h. */
using string_list = owner<&ombrel_free_string_node>;
/** See terminal.h. */
using terminal = owner<&ombrel_close_terminal>;
/** See tftp.h. */
using tftp = owner<&ombrel_close_tftp>;
/** See tftp_server.h. */
using tftp_server = owner<&ombrel_close_tftp_server>;
/** See uri.h. */
using uri = owner<&detail::free_uri>;
/** See value.h. */
using value_list = owner<&ombrel_free_value>;
/** See value.h. */
using value_node = owner<&ombrel_free_value_node>;
/** See window_event.h. */
using window_events = owner<&ombrel_free_window_events>;
/** See event_base.h. */
using worker = owner<&ombrel_close_worker>;
/** See xml_path.h. */
using xml_path = owner<&ombrel_close_xml_path>;
/** See xml_path.h. */
using xml_walk = owner<&ombrel_close_xml_walk>;
/** @} */

} // namespace ombrel

#endif
