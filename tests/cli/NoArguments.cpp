// Starts the program with an argument count of 0, which a kernel may refuse to do: its main is
// linked in under another name. The tests start it in the sandbox.

int TamselMain(int argc, char* argv[]);

int main() {
    char* none[] = {nullptr};
    return TamselMain(0, none);
}
