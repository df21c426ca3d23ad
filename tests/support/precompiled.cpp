// Owns the headers that are compiled once for all tests (see tests/CMakeLists.txt); does nothing.
int main() { return 0; }
