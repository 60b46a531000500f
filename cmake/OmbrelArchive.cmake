# The archive holds one object, linked from all of the library's: what is no part of the interface is local in it, as
# in the dynamic library, so that a program's own names can be any but the exported ones. It is not done on Windows,
# whose objects have no hidden names, nor where several configurations share a build directory.
get_property(several_configurations GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
set(ombrel_joins_archive OFF)
if(CMAKE_OBJCOPY AND NOT WIN32 AND NOT APPLE AND NOT several_configurations)
    set(ombrel_joins_archive ON)
    include(CheckLinkerFlag)
    check_linker_flag(C "LINKER:--force-group-allocation" OMBREL_LINKER_DISSOLVES_GROUPS)
endif()

# Links the objects of `from` to one, whose path is left in `variable`.
function(ombrel_join_objects name from variable)
    set(path ${CMAKE_CURRENT_BINARY_DIR}/${name}.o)
    add_executable(${name} $<TARGET_OBJECTS:${from}>)
    set_target_properties(${name} PROPERTIES SUFFIX .o LINKER_LANGUAGE C)
    target_link_options(${name} PRIVATE -r -nostdlib)
    # A group that several objects have is no longer one once its name is local.
    if(OMBREL_LINKER_DISSOLVES_GROUPS)
        target_link_options(${name} PRIVATE LINKER:--force-group-allocation)
    endif()
    # Machine code, for any compiler. It is made here, so what was said to the compiler is said again: unique names
    # cannot be made local.
    if(CMAKE_INTERPROCEDURAL_OPTIMIZATION AND CMAKE_C_COMPILER_ID STREQUAL "GNU")
        target_link_options(${name} PRIVATE -flinker-output=nolto-rel -fno-gnu-unique)
    endif()
    file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/ombrel_tuk.map exported REGEX "ombrel_\\*;")
    list(TRANSFORM exported REPLACE "^ *(.*);" "--keep-global-symbol=\\1")
    add_custom_command(TARGET ${name} POST_BUILD
        COMMAND ${CMAKE_OBJCOPY} --localize-hidden --wildcard ${exported} ${path} VERBATIM)
    set_source_files_properties(${path} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
    set(${variable} ${path} PARENT_SCOPE)
endfunction()
