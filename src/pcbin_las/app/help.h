// The usage text.
#pragma once

/// Prints the usage text to standard output; `program` is the name that the program was called by.
void help(char* program);
