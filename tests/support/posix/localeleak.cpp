// The C library loses its copy of LOCPATH in each newlocale call; tests with locales of their own set the variable.

extern "C" [[gnu::visibility("default")]] char const* __lsan_default_suppressions();

extern "C" char const* __lsan_default_suppressions()
{
    return "leak:argz_add_sep\n";
}
