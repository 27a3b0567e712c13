# The version is said once, by project(). Sources that repeat it, since they are installed or compiled as they stand, are
# held against it while the build is configured.

# quindal_check_version(FILE REGEX): what the group of the expression finds in the file is the project's version.
function(quindal_check_version file regex)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(STRINGS ${file} lines REGEX "${regex}")
  list(LENGTH lines count)
  if(NOT count EQUAL 1 OR NOT lines MATCHES "${regex}")
    message(FATAL_ERROR "${file}: ${count} lines say a version, there should be one (${regex})")
  endif()
  if(NOT CMAKE_MATCH_1 STREQUAL ARGV2)
    message(FATAL_ERROR "${file} says ${CMAKE_MATCH_1}, project(VERSION) in CMakeLists.txt says ${ARGV2}: correct one")
  endif()
endfunction()

set(header Units/QuindalIM/include/QuindalIM.h)
quindal_check_version(${header} "^#define QUINDAL_IM_VERSION_MAJOR ([0-9]+)$" ${PROJECT_VERSION_MAJOR})
quindal_check_version(${header} "^#define QUINDAL_IM_VERSION_MINOR ([0-9]+)$" ${PROJECT_VERSION_MINOR})
quindal_check_version(${header} "^#define QUINDAL_IM_VERSION_PATCH ([0-9]+)$" ${PROJECT_VERSION_PATCH})
quindal_check_version(${header} "^#define QUINDAL_IM_VERSION_TEXT \"([0-9.]+)\"$" ${PROJECT_VERSION})
quindal_check_version(Units/QuindalIM/include/CalcGOConsts.h "LibraryVersion = \"([0-9]+[.][0-9]+[.][0-9]+)[.][0-9]+\""
                      ${PROJECT_VERSION})
quindal_check_version(Bindings/python/pyproject.toml "^version = \"([0-9.]+)\"$" ${PROJECT_VERSION})
