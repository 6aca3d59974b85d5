# CPack gives packages with libraries scripts that call ldconfig. The trigger does that, and packages without scripts can be
# installed into a root that has no shell.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(tree ${package}.tree)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${package} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${tree})
endforeach()
