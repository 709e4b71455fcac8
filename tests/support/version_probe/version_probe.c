/* A DLL that holds nothing but a version resource, for comparing the system's version library
   with the block reader. */
int version_probe_marker(void) { return 1; }
