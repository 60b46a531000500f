# Tests from outside: the example programs, driven by scripts, and programs on the installed tree.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# By what another program starts `target`: its file, or a script that lets an emulator run that.
function(ombrel_started_by variable target)
    if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
        set(${variable} $<TARGET_FILE:${target}> PARENT_SCOPE)
        return()
    endif()
    set(script ${CMAKE_CURRENT_BINARY_DIR}/emulated/${target})
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" emulator)
    # The name by which a program is started may tell it what to do.
    set(name)
    if(emulator MATCHES "qemu-")
        set(name "-0 \"$0\"")
    endif()
    file(GENERATE OUTPUT ${script} CONTENT "#!/bin/sh\nexec '${emulator}' ${name} '$<TARGET_FILE:${target}>' \"$@\"\n"
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    set(${variable} ${script} PARENT_SCOPE)
endfunction()

# The compiler's flags, and what a toolchain file adds to them.
set(ombrel_consumer_flags "${CMAKE_C_FLAGS}")
if(CMAKE_SYSROOT)
    string(APPEND ombrel_consumer_flags " --sysroot=${CMAKE_SYSROOT}")
endif()
if(WIN32)
    add_test(NAME install.consumers COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/check_windows ${CMAKE_BINARY_DIR}
        ${CMAKE_TOOLCHAIN_FILE} ${CMAKE_C_COMPILER} ${CMAKE_CXX_COMPILER} ${CMAKE_OBJDUMP} ${CMAKE_CROSSCOMPILING_EMULATOR})
elseif(OMBREL_NO_CXX_RUN_TIME)
    ombrel_skipped_test(install.consumers "this compiler has no C++ run-time library for the target")
else()
    add_test(NAME install.consumers COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/check ${CMAKE_BINARY_DIR}
        ${CMAKE_INSTALL_LIBDIR} ${CMAKE_C_COMPILER} ${CMAKE_CXX_COMPILER} "${ombrel_consumer_flags}")
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    set_tests_properties(install.consumers PROPERTIES TIMEOUT 300
        ENVIRONMENT "NM=${CMAKE_NM};READELF=${CMAKE_READELF};TOOLCHAIN=${CMAKE_TOOLCHAIN_FILE};EMULATOR=${emulator}")
endif()
set_tests_properties(install.consumers PROPERTIES COST 20)

# Runs a script of this folder with arguments, for TIMEOUT seconds at most. On Windows it is skipped where
# NOT_ON_WINDOWS says why.
function(ombrel_end_to_end name script)
    cmake_parse_arguments(its "" "TIMEOUT;NOT_ON_WINDOWS" "" ${ARGN})
    if(WIN32 AND its_NOT_ON_WINDOWS)
        ombrel_skipped_test(${name} "${its_NOT_ON_WINDOWS}")
        return()
    endif()
    if(NOT its_TIMEOUT)
        set(its_TIMEOUT 300)
    endif()
    add_test(NAME ${name} COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/${script} ${its_UNPARSED_ARGUMENTS})
    # They are the long ones, which are better not started last.
    set_tests_properties(${name} PROPERTIES TIMEOUT ${its_TIMEOUT} COST 10)
    if(WIN32)
        set_tests_properties(${name} PROPERTIES ENVIRONMENT OMBREL_TEST_WINDOWS=1)
    endif()
endfunction()

if(TARGET status_service)
    foreach(program status_service ombrel_cgi ombrel_codec ombrel_digest ombrel_fetch ombrel_tuk_command ombrel_gallery)
        ombrel_started_by(${program}_starter ${program})
    endforeach()
    ombrel_end_to_end(encoding.codec_end_to_end encoding/ombrel_codec_test.py ${ombrel_codec_starter})
    ombrel_end_to_end(crypto.digest_end_to_end crypto/ombrel_digest_test.py ${ombrel_digest_starter}
        NOT_ON_WINDOWS "its files have names that Windows does not allow")
    set(plugin_and_server)
    if(TARGET ombrel_plugin_curl)
        set(plugin_and_server $<TARGET_FILE:ombrel_plugin_curl> ${CMAKE_CURRENT_SOURCE_DIR}/plugins/web_server.py)
    endif()
    set(parts)
    if(WIN32)
        ombrel_skipped_test(command.names_end_to_end "a program that is a symbolic link is started by its own name")
        foreach(part cat digest base64 get wrong_calls output_that_cannot_be_written)
            list(APPEND parts MulticallTest.test_${part})
        endforeach()
    endif()
    ombrel_end_to_end(command.end_to_end command/ombrel_tuk_test.py
        ${ombrel_tuk_command_starter} ${plugin_and_server} ${parts})
    if(CMAKE_CROSSCOMPILING_EMULATOR)
        ombrel_skipped_test(command.every_command_end_to_end "an emulated program goes by the name of its script")
    else()
        ombrel_end_to_end(command.every_command_end_to_end command/every_command_test.py
            $<TARGET_FILE:ombrel_tuk_command> $<TARGET_FILE:ombrel_digest> $<TARGET_FILE:ombrel_codec>
            $<TARGET_FILE:ombrel_gallery> $<TARGET_FILE:status_service>
            NOT_ON_WINDOWS "its pipes and signals are those of POSIX" TIMEOUT 900)
    endif()
    ombrel_end_to_end(command.processes_end_to_end command/process_commands_test.py ${ombrel_tuk_command_starter}
        NOT_ON_WINDOWS "its commands are those of a shell of POSIX")
    set(parts_of_download)
    set(parts_of_wol)
    set(parts_of_ssdp)
    if(CMAKE_CROSSCOMPILING_EMULATOR)
        set(parts_of_ssdp SsdpTest.test_wrong_calls) # the rest chooses interfaces for multicast, and ends by a signal
    endif()
    if(WIN32)
        foreach(part what_comes_in_the_end_is_whole a_changed_file_is_not_glued mirrors)
            list(APPEND parts_of_download DownloadTest.test_${part}) # the rest has files of POSIX
        endforeach()
        set(parts_of_wol WolTest.test_spellings_and_passwords) # the rest names interfaces of the host
    endif()
    foreach(name download ftpd httpd iconv ini nmea ssdp tftpd wol xml)
        ombrel_end_to_end(command.${name}_end_to_end command/${name}_test.py
            ${ombrel_tuk_command_starter} ${parts_of_${name}})
    endforeach()
    if(NOT CMAKE_SYSTEM_NAME STREQUAL "Linux" OR CMAKE_CROSSCOMPILING_EMULATOR)
        ombrel_skipped_test(command.ip_end_to_end "its network is one of Linux, which emulators translate in part alone")
    else()
        ombrel_end_to_end(command.ip_end_to_end command/ip_test.py ${ombrel_tuk_command_starter})
        set_tests_properties(command.ip_end_to_end PROPERTIES SKIP_REGULAR_EXPRESSION "^skipped:")
    endif()
    ombrel_end_to_end(protocol.cgi_end_to_end protocol/cgi_program_test.py ${ombrel_cgi_starter}
        NOT_ON_WINDOWS "its web servers are those of POSIX")
    ombrel_end_to_end(command.secret_end_to_end command/secret_command_test.py ${ombrel_tuk_command_starter})
    add_test(NAME graphics.gallery_end_to_end COMMAND ${Python3_EXECUTABLE}
        ${CMAKE_CURRENT_SOURCE_DIR}/graphics/ombrel_gallery_test.py ${ombrel_gallery_starter} "" Gallery)
    set_tests_properties(graphics.gallery_end_to_end PROPERTIES TIMEOUT 300)
    set(parts)
    if(WIN32)
        ombrel_skipped_test(service.crowds_end_to_end "the emulator has no limit of descriptors and ends by itself on signals")
        set(parts Pages BadClients.test_bad_requests BadClients.test_framing_has_one_reading
            BadClients.test_vanishing_clients BadClients.test_answers_to_a_client_that_does_not_read
            Login.test_digest Crowds.test_addresses)
    endif()
    ombrel_end_to_end(service.end_to_end service/status_service_test.py ${status_service_starter} ${parts} TIMEOUT 360)
    if(WIN32)
        add_executable(console_event support/console_event.cpp)
        ombrel_warnings(console_event)
        target_include_directories(console_event PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
        ombrel_started_by(console_event_starter console_event)
        ombrel_end_to_end(command.console_events_end_to_end command/console_events_test.py
            ${console_event_starter} $<TARGET_FILE:ombrel_tuk_command> $<TARGET_FILE:status_service>)
    endif()
    if(NOT OMBREL_QUICK_BUILD) # a browser is given the same pages by each
        ombrel_end_to_end(service.pages_end_to_end service/status_pages_test.py ${status_service_starter})
    endif()
    ombrel_end_to_end(service.fetch_peers service/fetch_peers_test.py
        ${ombrel_fetch_starter} ${PROJECT_SOURCE_DIR}/build/servers/usr/sbin)
endif()

if(OMBREL_GUIDE_PROGRAMS)
    include(${CMAKE_CURRENT_LIST_DIR}/guide.cmake)
endif()

# The same programs while one allocation in fifty fails, where the C library lets its allocation be replaced so and no
# sanitizer has done that already.
include(CheckCSourceCompiles)
check_c_source_compiles("void* __libc_malloc(__SIZE_TYPE__ size); int main(void) { return __libc_malloc(1) == 0; }"
    OMBREL_LIBC_MALLOC_LINKS)
if(CMAKE_CROSSCOMPILING_EMULATOR)
    foreach(name scarce_memory silent_names)
        ombrel_skipped_test(service.${name} "the emulator takes LD_PRELOAD for itself")
    endforeach()
elseif(TARGET status_service AND OMBREL_LIBC_MALLOC_LINKS AND NOT CMAKE_C_FLAGS MATCHES "-fsanitize")
    foreach(name scarce_memory silent_names)
        add_library(${name} MODULE service/${name}.c)
        set_target_properties(${name} PROPERTIES PREFIX "" C_STANDARD 11)
        ombrel_warnings(${name})
    endforeach()
    target_link_libraries(silent_names PRIVATE ${CMAKE_DL_LIBS})
    add_test(NAME service.silent_names COMMAND ${Python3_EXECUTABLE}
        ${CMAKE_CURRENT_SOURCE_DIR}/service/status_service_test.py $<TARGET_FILE:status_service> SilentNames)
    set_tests_properties(service.silent_names PROPERTIES TIMEOUT 300 ENVIRONMENT SILENT_NAMES=$<TARGET_FILE:silent_names>)
    add_test(NAME graphics.gallery_in_scarce_memory COMMAND ${Python3_EXECUTABLE}
        ${CMAKE_CURRENT_SOURCE_DIR}/graphics/ombrel_gallery_test.py $<TARGET_FILE:ombrel_gallery>
        $<TARGET_FILE:scarce_memory> ScarceMemory)
    set_tests_properties(graphics.gallery_in_scarce_memory PROPERTIES TIMEOUT 360)
    add_test(NAME service.scarce_memory COMMAND ${Python3_EXECUTABLE}
        ${CMAKE_CURRENT_SOURCE_DIR}/service/scarce_memory_test.py
        $<TARGET_FILE:scarce_memory> ${CMAKE_BINARY_DIR}/examples)
    set_tests_properties(service.scarce_memory PROPERTIES TIMEOUT 360)
endif()

# Whatever is built, they say the same.
if(NOT OMBREL_QUICK_BUILD)
    add_test(NAME graphics.font_data_is_what_its_generator_writes COMMAND ${Python3_EXECUTABLE}
        ${PROJECT_SOURCE_DIR}/tools/font/generate.py --check)
    add_test(NAME text.charset_data_is_what_its_generator_writes COMMAND ${Python3_EXECUTABLE}
        ${PROJECT_SOURCE_DIR}/tools/charset/generate.py --check)
    add_test(NAME text.code_point_data_is_what_its_generator_writes COMMAND ${Python3_EXECUTABLE}
        ${PROJECT_SOURCE_DIR}/tools/utf8/generate.py --check)
    add_test(NAME text.detection_data_is_what_its_generator_writes COMMAND ${Python3_EXECUTABLE}
        ${PROJECT_SOURCE_DIR}/tools/charset_detect/generate.py --check)
endif()
