// The tests change their effective user, and the leak check may not look into a process that did. Compiled with the
// address sanitizer only; the environment does not reach it, since such a process does not heed it either.

extern "C" [[gnu::visibility("default")]] char const* __lsan_default_options();

extern "C" [[gnu::visibility("default")]] char const* __lsan_default_options()
{
    return "detect_leaks=0";
}
