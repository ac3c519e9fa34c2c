// The program that the tests borrow their precompiled headers from; it does nothing itself.
int main() {}
