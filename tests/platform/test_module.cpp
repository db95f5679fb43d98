// A small shared library for the module-loading tests.
extern "C" __attribute__((visibility("default"))) int testModuleAnswer()
{
    return 42;
}
