int dumpFabric(const char* folder);

int main(int argc, char** argv) { return dumpFabric(argc > 1 ? argv[1] : "."); }
