// Nothing: what is compiled with it is the headers of the test framework, see tests/CMakeLists.txt.
