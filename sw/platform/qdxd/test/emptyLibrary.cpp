// A library that loads and registers nothing.
extern "C" int emptyLibraryWasLoaded();

int emptyLibraryWasLoaded() {
    return 1;
}
