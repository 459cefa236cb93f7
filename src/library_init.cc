// The shared library is the internal archive linked whole (see CMakeLists.txt);
// it adds no code of its own, but a library target needs one source file.
