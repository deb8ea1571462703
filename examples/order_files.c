#define _XOPEN_SOURCE 700
#include "order_files.h"

#include <isam.h>

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

char trail_name[] = "accounts.audit";
const char log_name[] = "transfers.log";

static const char *const names[] = {"accounts.dat", "accounts.idx", trail_name, "orders.dat", "orders.idx"};
enum { FILES = sizeof names / sizeof *names };

static char directory[1024];

void check(int good, const char *what) {
    if (good) return;
    printf("  *** WRONG: %s (iserrno %d, iserrio 0x%x)\n", what, iserrno, (unsigned)iserrio);
    exit(1);
}

/* The name of a file's copy, valid until the next call. */
static const char *add(const char *name, const char *suffix) {
    static char text[40];
    snprintf(text, sizeof text, "%s%s", name, suffix);
    return text;
}

static void copy(const char *from, const char *to) {
    int byte;
    FILE *in = fopen(from, "rb"), *out = fopen(to, "wb");
    check(in != NULL && out != NULL, to);
    while ((byte = getc(in)) != EOF)
        putc(byte, out);
    check(!ferror(in) && !ferror(out) && fclose(in) == 0 && fclose(out) == 0, to);
}

void copy_files(void) {
    for (int i = 0; i < FILES; ++i)
        copy(names[i], add(names[i], ".start"));
}

void put_copies_back(void) {
    for (int i = 0; i < FILES; ++i) {
        check(rename(names[i], add(names[i], ".damaged")) == 0, "putting a file aside");
        copy(add(names[i], ".start"), names[i]);
    }
}

long size_of(const char *name) {
    struct stat state;
    return stat(name, &state) == 0 ? (long)state.st_size : -1;
}

static void remove_files(void) {
    for (int i = 0; i < FILES; ++i) {
        remove(names[i]);
        remove(add(names[i], ".start"));
        remove(add(names[i], ".damaged"));
    }
    remove(log_name);
}

static void remove_directory(void) {
    remove_files();
    rmdir(directory);
}

void prepare(const char *chosen) {
    const char *root = getenv("TMPDIR");
    if (chosen != NULL) {
        mkdir(chosen, 0777); /* if it cannot be made, going there tells */
    } else {
        snprintf(directory, sizeof directory, "%s/order_book.XXXXXX", root != NULL && *root ? root : "/tmp");
        check(mkdtemp(directory) != NULL, "making a temporary directory");
        atexit(remove_directory);
    }
    check(chdir(chosen != NULL ? chosen : directory) == 0, "going to the directory");
    check(getcwd(directory, sizeof directory) != NULL, "the name of the directory");
    remove_files();
    printf("An order book of accounts under a log, in %s\n", directory);
}
