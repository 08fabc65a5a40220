// A list that is loaded again keeps the motions of the old one: the only leak that is meant.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:AfqtMotion*::extract";
}
