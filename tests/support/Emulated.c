// Starts a program of another machine on the emulator, so that tests start it like a native program. The program has
// the same name as this launcher, and is in the folder "bin" next to the launcher's folder. The launcher is linked
// statically, so that LD_PRELOAD affects only the emulated program.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int aCount, char** aArguments)
{
    char self[4096];
    ssize_t const length = readlink("/proc/self/exe", self, sizeof self - 1);
    self[length < 0 ? 0 : length] = '\0';
    char* const name = strrchr(self, '/');
    char* const folder = name == NULL ? NULL : memrchr(self, '/', (size_t)(name - self));
    char program[sizeof self + sizeof "bin/"];
    char** const command = calloc((size_t)aCount + 4, sizeof *command);
    if (folder == NULL || command == NULL)
    {
        fprintf(stderr, "%s: cannot find its program\n", aArguments[0]);
        return EXIT_FAILURE;
    }
    sprintf(program, "%.*s/bin%s", (int)(folder - self), self, name);
    command[0] = EMULATOR;
    command[1] = "-L";
    command[2] = EMULATED_ROOT;
    command[3] = program;
    memcpy(command + 4, aArguments + 1, (size_t)(aCount - 1) * sizeof *command);
    setenv("LOCPATH", LOCALES, 1);  // the host's locales have the host's byte order
    execvp(command[0], command);
    perror(command[0]);
    return EXIT_FAILURE;
}
