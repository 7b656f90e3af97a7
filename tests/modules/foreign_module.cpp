// A shared object that is no module of the library.
extern "C" int likeness_foreign_number() {
    return 1;
}
