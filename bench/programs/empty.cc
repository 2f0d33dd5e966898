// The baseline of the cold start: a process that does nothing.
int main() { return 0; }
