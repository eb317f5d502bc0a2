# With KR_REPRODUCIBLE: what is built holds neither the folders nor the time of the build, so that two
# builds of the same sources give the same bytes. Also included by the projects of kr_host_project().
get_filename_component(kr_sources ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
add_compile_options(-ffile-prefix-map=${kr_sources}=.)
foreach(kr_folder ${KR_ACE_ROOT} ${KR_SQLITE_ROOT} ${KR_SERVE_ROOT})
  get_filename_component(kr_name ${kr_folder} NAME)
  add_compile_options(-ffile-prefix-map=${kr_folder}=${kr_name})
endforeach()
if(MINGW)
  add_link_options(LINKER:--no-insert-timestamp)
endif()
