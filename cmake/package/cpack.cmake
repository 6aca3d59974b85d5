# Read by cpack when it makes the packages.
if(CPACK_DEBIAN_PACKAGE_MAINTAINER MATCHES "\\.invalid>$")
  message(WARNING "The packages name a placeholder as their maintainer, ${CPACK_DEBIAN_PACKAGE_MAINTAINER}. Before they are given away "
    "say who answers for them: make package maintainer='Name <address>', or cmake -DQFCORE_MAINTAINER='Name <address>'.")
endif()
