# The hosts in examples/video_search.
include(KRHostProject)
if(WIN32 AND NOT KR_SQLITE_ROOT) # built by setup/build-sqlite-windows.sh
  kr_cached(SQLITE_ROOT_WINDOWS KR_SQLITE_ROOT)
endif()
if(WIN32 AND NOT KR_SERVE_ROOT) # by setup/build-serve-windows.sh
  kr_cached(SERVE_ROOT_WINDOWS KR_SERVE_ROOT)
endif()
if(WIN32 AND NOT EXISTS ${KR_SQLITE_ROOT}/.complete)
  message(FATAL_ERROR "SQLite for x86 Windows is not in ${KR_SQLITE_ROOT}: run ./kr setup windows")
endif()
if(WIN32 AND NOT EXISTS ${KR_SERVE_ROOT}/.complete)
  message(FATAL_ERROR "cpp-httplib and expat for x86 Windows are not in ${KR_SERVE_ROOT}: "
                      "run ./kr setup windows")
endif()
kr_host_project(video_search ${CMAKE_CURRENT_SOURCE_DIR}/video_search
  OPTIONS -DVIDEO_SEARCH_TESTS=${KR_TESTS} -DVIDEO_SEARCH_WERROR=${KR_WERROR}
  FIND_ROOTS ${KR_SQLITE_ROOT} ${KR_SERVE_ROOT})
