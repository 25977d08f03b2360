/* A translation unit with nothing but the header that the compiler is told to include. */
typedef int nothing_else;
