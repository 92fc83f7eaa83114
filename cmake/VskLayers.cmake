# The layer map: the subsystem folders that each folder's units may include
# besides their own (docs/architecture.md explains it). tools/check_layers.py
# reads this file; and every folder's target compiles against a view of the
# source tree that holds only these folders, so an include against the map
# fails the build as well as the check.
set(VSK_LAYER_platform "")
set(VSK_LAYER_hostfw "platform")
set(VSK_LAYER_foundation "platform;hostfw")
set(VSK_LAYER_calendar "platform;foundation")
set(VSK_LAYER_diagnostics "platform;hostfw;foundation")
set(VSK_LAYER_files "platform;foundation;diagnostics")
set(VSK_LAYER_threading "platform;foundation;diagnostics")
set(VSK_LAYER_gui "platform;hostfw;foundation;files;diagnostics;threading")
set(VSK_LAYER_framework "platform;hostfw;foundation;diagnostics")

# Edges against the direction, each needed by a documented behaviour, as
# "<unit source>|<header it includes>":
#   the string's whole-file load and save go through the file object;
#   a failed code-page conversion of a string is written to the log.
set(VSK_NAMED_EDGES
  "foundation/Vskstr.cpp|files/VskFile.h"
  "foundation/Vskstrbase.cpp|diagnostics/Filelogger.h")

# The package frame sits on top: its umbrella header, start-up code and the
# entry to the units' hooks see every folder.
set(VSK_FRAME foundation/Voskellib.h foundation/Voskellib.cpp foundation/Voskellib_hooks.cpp)

set(VSK_LAYER_FOLDERS platform hostfw foundation calendar diagnostics files threading gui framework)
set(VSK_LAYER_ROOT ${CMAKE_BINARY_DIR}/layers)

# A folder of links to the given source folders: an include root that
# offers nothing else.
function(_vsk_make_view view)
  file(REMOVE_RECURSE ${view})
  file(MAKE_DIRECTORY ${view})
  foreach(folder IN LISTS ARGN)
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${view}/${folder} SYMBOLIC)
  endforeach()
endfunction()

# The folders a folder's sources may reach: its own, the allowed ones, and
# what their headers include in turn (a public header of an allowed folder
# may include one further down; the check holds each unit to its direct
# includes).
function(_vsk_layer_reach folder out_var)
  set(reach ${folder})
  set(pending ${VSK_LAYER_${folder}})
  while(pending)
    list(POP_FRONT pending next)
    if(NOT next IN_LIST reach)
      list(APPEND reach ${next})
      list(APPEND pending ${VSK_LAYER_${next}})
    endif()
  endwhile()
  set(${out_var} ${reach} PARENT_SCOPE)
endfunction()

# vsk_layer_includes(<target> <folder>): compiles <target>, whose sources are
# the units of <folder>, against the folder's view, gives the named edges'
# sources the one header folder each needs, and the frame every folder.
function(vsk_layer_includes target folder)
  _vsk_layer_reach(${folder} reach)
  _vsk_make_view(${VSK_LAYER_ROOT}/${folder} ${reach})
  target_include_directories(${target} PRIVATE ${VSK_LAYER_ROOT}/${folder})
  foreach(edge IN LISTS VSK_NAMED_EDGES)
    string(REPLACE "|" ";" parts "${edge}")
    list(GET parts 0 source)
    list(GET parts 1 header)
    get_filename_component(header_folder ${header} DIRECTORY)
    if(source MATCHES "^${folder}/")
      _vsk_make_view(${VSK_LAYER_ROOT}/edge-${header_folder} ${header_folder})
      set_property(SOURCE ${PROJECT_SOURCE_DIR}/${source} TARGET_DIRECTORY ${target}
                   APPEND PROPERTY INCLUDE_DIRECTORIES ${VSK_LAYER_ROOT}/edge-${header_folder})
    endif()
  endforeach()
  foreach(source IN LISTS VSK_FRAME)
    if(source MATCHES "^${folder}/.*\\.cpp$")
      _vsk_make_view(${VSK_LAYER_ROOT}/frame ${VSK_LAYER_FOLDERS})
      set_property(SOURCE ${PROJECT_SOURCE_DIR}/${source} TARGET_DIRECTORY ${target}
                   APPEND PROPERTY INCLUDE_DIRECTORIES ${VSK_LAYER_ROOT}/frame)
    endif()
  endforeach()
endfunction()
