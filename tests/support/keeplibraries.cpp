// Takes the place of the C library's function in the test programs that use OpenGL, when they are
// built with a sanitizer. The graphics driver is unloaded before the leak check looks for pointers
// in its data, and would have its own allocations reported as lost.
extern "C" __attribute__((visibility("default"))) int dlclose(void* /*handle*/)
{
    return 0;
}
