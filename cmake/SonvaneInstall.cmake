# Installation is completed once the library target exists.
