# Doxygen joins adjacent lines of comment, so that the mark of a group would take the text of its first member along.
s#^\( *\)/// @\([{}]\)$#\1/** @\2 */#
