# Before a package is made: manual pages are compressed, and static libraries lose what is only for
# debuggers (which CPack leaves them, since it knows no other way than to strip everything).

file(GLOB_RECURSE pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/sprig*.1)
foreach(page IN LISTS pages)
  execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

file(GLOB_RECURSE archives ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.a)
foreach(archive IN LISTS archives)
  execute_process(COMMAND strip --strip-debug --enable-deterministic-archives ${archive}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
