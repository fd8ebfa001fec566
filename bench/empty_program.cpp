/// What any C++ program costs that does nothing: the command's start is measured beside it.

int main() { return 0; }
