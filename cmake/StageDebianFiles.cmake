# Run by CPack over the files of all packages before they are packed: what Debian wants otherwise than `cmake --install`
# leaves it. Libraries lie where the loader looks, so nothing needs a path to them; change logs and man pages are packed.
file(GLOB_RECURSE programs LIST_DIRECTORIES false
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/bin/* ${CPACK_TEMPORARY_DIRECTORY}/*/usr/lib/*/lib*.so*)
foreach(program IN LISTS programs)
  if(NOT IS_SYMLINK ${program})
    execute_process(COMMAND chrpath --delete ${program} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND strip --strip-unneeded --remove-section=.comment --remove-section=.note ${program}
      COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
file(GLOB_RECURSE papers LIST_DIRECTORIES false
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog*
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/*)
foreach(paper IN LISTS papers)
  execute_process(COMMAND gzip -9n ${paper} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
