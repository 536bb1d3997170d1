# Run by cpack between installing the components and packing them. Pages of the manual are packed; programs of a system
# find libraries where it has them, so theirs have no path of their own.
file(GLOB pages ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man1/*.1)
foreach(page IN LISTS pages)
  execute_process(COMMAND gzip -9nf ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(GLOB programs ${CPACK_TEMPORARY_DIRECTORY}/*/usr/bin/*)
foreach(program IN LISTS programs)
  file(RPATH_REMOVE FILE ${program})
endforeach()
