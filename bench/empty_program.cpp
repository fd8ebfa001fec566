/// What any program in C++ costs that does nothing: it loads the C++ library, and starts that. The
/// command's start is measured beside it.

#include <iostream>

int main() { std::cout.flush(); }
