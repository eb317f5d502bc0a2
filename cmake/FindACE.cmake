# Finds ACE and defines the target ACE::ACE.
#
# Windows x86 (MinGW): in the folder KR_ACE_ROOT, which has include/, lib/libACE.dll.a and
# bin/libACE.dll: the one that setup/build-ace-windows.sh has built, or the one into which KRCommon
# is installed. Elsewhere: the system's package.
include(FindPackageHandleStandardArgs)

if(MINGW)
  # Nothing of this is kept in the cache: KR_ACE_ROOT may be another folder the next time.
  foreach(_kr_part ACE_INCLUDE_DIR=include ACE_LIBRARY=lib/libACE.dll.a ACE_RUNTIME=bin/libACE.dll)
    string(REPLACE "=" ";" _kr_part ${_kr_part})
    list(GET _kr_part 0 _kr_name)
    list(GET _kr_part 1 _kr_path)
    set(${_kr_name} ${KR_ACE_ROOT}/${_kr_path})
    if(NOT EXISTS ${${_kr_name}})
      set(${_kr_name} NOTFOUND)
    endif()
  endforeach()
  set(_kr_ace_required ACE_LIBRARY ACE_INCLUDE_DIR ACE_RUNTIME)
  set(_kr_ace_hint "ACE for x86 Windows is not in ${KR_ACE_ROOT}: run ./kr setup windows")
else()
  find_path(ACE_INCLUDE_DIR ace/ACE.h)
  find_library(ACE_LIBRARY ACE)
  set(_kr_ace_required ACE_LIBRARY ACE_INCLUDE_DIR)
  set(_kr_ace_hint "ACE is not installed: run ./kr setup linux")
endif()

if(ACE_INCLUDE_DIR AND EXISTS "${ACE_INCLUDE_DIR}/ace/Version.h")
  file(STRINGS "${ACE_INCLUDE_DIR}/ace/Version.h" _kr_ace_version REGEX "#define ACE_VERSION ")
  string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" ACE_VERSION "${_kr_ace_version}")
endif()

find_package_handle_standard_args(ACE REQUIRED_VARS ${_kr_ace_required} VERSION_VAR ACE_VERSION
                                  REASON_FAILURE_MESSAGE "${_kr_ace_hint}")

if(ACE_FOUND AND NOT TARGET ACE::ACE)
  find_package(Threads REQUIRED)
  if(MINGW)
    add_library(ACE::ACE SHARED IMPORTED)
    set_target_properties(ACE::ACE PROPERTIES
      IMPORTED_LOCATION "${ACE_RUNTIME}" IMPORTED_IMPLIB "${ACE_LIBRARY}")
  else()
    add_library(ACE::ACE UNKNOWN IMPORTED)
    set_target_properties(ACE::ACE PROPERTIES IMPORTED_LOCATION "${ACE_LIBRARY}")
  endif()
  set_target_properties(ACE::ACE PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${ACE_INCLUDE_DIR}"
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${ACE_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES Threads::Threads)
  if(MINGW)
    # 64-bit seconds change the layout of ACE's classes, so every user needs the first one. The last
    # one keeps ACE from renaming main(), for the sake of an object that the library makes as it is
    # loaded: an int main() without parameters would not link. The warnings come from ACE's copy constructors, which copy a spare, unset timeval.
    set_target_properties(ACE::ACE PROPERTIES
      INTERFACE_COMPILE_DEFINITIONS
        "__MINGW_USE_VC2005_COMPAT;WIN32_LEAN_AND_MEAN;NOMINMAX;ACE_DOESNT_INSTANTIATE_NONSTATIC_OBJECT_MANAGER"
      INTERFACE_COMPILE_OPTIONS
        "$<$<COMPILE_LANGUAGE:CXX>:-Wno-uninitialized;-Wno-maybe-uninitialized>"
      INTERFACE_LINK_LIBRARIES "Threads::Threads;ws2_32")
  endif()
endif()
mark_as_advanced(ACE_INCLUDE_DIR ACE_LIBRARY)
