# Header-only libraries from Debian (nlohmann-json, CLI11) live under
# /usr/include, which a cross build does not search; point at them alone.
function(sonvane_find_host_header_dir out header)
  find_path(_dir ${header} PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT _dir)
    message(FATAL_ERROR "${header} not found; run scripts/stack deps")
  endif()
  set(host_inc ${CMAKE_BINARY_DIR}/host-include)
  get_filename_component(first ${header} DIRECTORY)
  # Copy only the one library's folder, so that no other host header can
  # shadow a Windows one.
  if(first)
    file(COPY ${_dir}/${first} DESTINATION ${host_inc})
  else()
    file(COPY ${_dir}/${header} DESTINATION ${host_inc})
  endif()
  set(${out} ${host_inc} PARENT_SCOPE)
  unset(_dir CACHE)
endfunction()
