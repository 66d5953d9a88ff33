# Finds the CDF library, version 3, and copies it beside the project's own libraries.
#
# The first of these that is given decides:
#   CDF_LIBRARY            the file itself (CMake variable)
#   CDF_ROOT               the library's folder (CMake or environment variable)
#   CDF_LIB and CDF_INC    the library's customary environment variables
#   a system installation
#   build/cdf              where tools/fetch-cdf puts the library out of a pinned wheel. With
#                          TARVIK_FETCH_CDF that is run; it does nothing where the library is there
# A folder that was named and holds no library is an error, not a reason to look elsewhere. Nothing
# is remembered: every configuration looks again.
#
# Gives the imported target CDF::CDF and CDF_RUNTIME_LIBRARY, the copy that is shipped;
# CDF_INCLUDE_DIR where a cdf.h belongs to the library; CDF_TERMS, the library's licence, its own where
# one lies beside it; CDF_WHEEL, name and checksum of the wheel where tools/fetch-cdf took it out of one.

# A wheel of the project is built without other preparation.
string(COMPARE NOTEQUAL "${SKBUILD}" "" cdf_fetch_default)
option(TARVIK_FETCH_CDF "Take the CDF library out of a pinned wheel where no other is found"
  ${cdf_fetch_default})

function(cdf_find_library)
  find_library(CDF_LIBRARY NAMES libcdf.so NO_CACHE ${ARGN})
  set(CDF_LIBRARY "${CDF_LIBRARY}" PARENT_SCOPE)
endfunction()

if(NOT CDF_ROOT)
  set(CDF_ROOT "$ENV{CDF_ROOT}")
endif()
if(CDF_ROOT)
  set(cdf_given "CDF_ROOT is ${CDF_ROOT}, but no libcdf.so is in it.")
  cdf_find_library(PATHS ${CDF_ROOT} PATH_SUFFIXES lib lib64 NO_DEFAULT_PATH)
elseif(NOT "$ENV{CDF_LIB}" STREQUAL "")
  set(cdf_given "CDF_LIB is $ENV{CDF_LIB}, but no libcdf.so is in it.")
  cdf_find_library(PATHS ENV CDF_LIB NO_DEFAULT_PATH)
else()
  cdf_find_library(PATHS /usr/local/cdf /opt/cdf PATH_SUFFIXES lib lib64)
  if(NOT CDF_LIBRARY)
    if(TARVIK_FETCH_CDF)
      execute_process(COMMAND ${PROJECT_SOURCE_DIR}/tools/fetch-cdf)
    endif()
    cdf_find_library(PATHS ${PROJECT_SOURCE_DIR}/build/cdf NO_DEFAULT_PATH)
  endif()
endif()

if(CDF_FIND_REQUIRED AND NOT CDF_LIBRARY)
  message(FATAL_ERROR " The CDF C library, version 3, is missing. ${cdf_given}
 Provide it in one of three ways:
   - set CDF_ROOT to the folder that holds it;
   - set CDF_LIB and CDF_INC to its lib and include folders;
   - install it in the system.
 On Linux for x86_64 and aarch64, ./run and ./check fetch it where none of these is given.")
endif()
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CDF REQUIRED_VARS CDF_LIBRARY)

if(CDF_FOUND AND NOT TARGET CDF::CDF)
  file(REAL_PATH ${CDF_LIBRARY} cdf_file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${cdf_file})
  get_filename_component(cdf_folder ${CDF_LIBRARY} DIRECTORY)
  find_path(CDF_INCLUDE_DIR cdf.h NO_CACHE NO_DEFAULT_PATH
    PATHS ENV CDF_INC ${cdf_folder}/../include ${cdf_folder}/include ${cdf_folder})

  find_file(CDF_TERMS CDF_copyright.txt NO_CACHE NO_DEFAULT_PATH
    PATHS ${cdf_folder} ${cdf_folder}/.. ${cdf_folder}/../..)
  if(NOT CDF_TERMS)
    set(CDF_TERMS ${PROJECT_SOURCE_DIR}/licenses/CDF.txt)
  endif()
  if(EXISTS ${cdf_folder}/wheel.txt)
    set(CDF_WHEEL ${cdf_folder}/wheel.txt)
  endif()

  # Some builds of the library carry no SONAME; then the file's name is what dependents record.
  execute_process(COMMAND ${CMAKE_READELF} -d ${cdf_file} OUTPUT_VARIABLE cdf_dynamic)
  if(cdf_dynamic MATCHES "SONAME[^\n]*\\[([^\n]*)\\]")
    set(cdf_name ${CMAKE_MATCH_1})
    set(cdf_no_soname FALSE)
  else()
    set(cdf_name libcdf.so)
    set(cdf_no_soname TRUE)
  endif()
  set(CDF_RUNTIME_LIBRARY ${PROJECT_BINARY_DIR}/lib/${cdf_name})
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
  file(COPY_FILE ${cdf_file} ${CDF_RUNTIME_LIBRARY} ONLY_IF_DIFFERENT)

  add_library(CDF::CDF SHARED IMPORTED)
  set_target_properties(CDF::CDF PROPERTIES
    IMPORTED_LOCATION ${CDF_RUNTIME_LIBRARY}
    IMPORTED_NO_SONAME ${cdf_no_soname})
endif()
