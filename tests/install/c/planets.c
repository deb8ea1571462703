/* A program of somebody who has the installed library: builds a file, reads it in order of its key and by its key. */
#include <isam.h>
#include <stdio.h>
#include <string.h>

enum { NUMBER = 0, NAME = 4, LENGTH = 24 };

static int write_planet(int fd, long number, const char *name) {
    char record[LENGTH];
    char text[LENGTH];
    strcpy(text, name);
    stlong(number, record + NUMBER);
    stchar(text, record + NAME, LENGTH - NAME);
    return iswrite(fd, record);
}

static void print_planet(const char *record) {
    char name[LENGTH - NAME + 1];
    ldchar(record + NAME, LENGTH - NAME, name);
    printf("%ld %s\n", ldlong(record + NUMBER), name);
}

int main(void) {
    KeyDesc key = {ISNODUPS, 1, {{NUMBER, 4, LONGTYPE}}, 0, 0};
    char record[LENGTH];
    int mode;
    int fd = isbuild("planets", LENGTH, &key, ISINOUT);
    if (fd < 0) {
        fprintf(stderr, "isbuild: %d %s\n", iserrno, iserrno >= ISERR_FIRST ? is_errlist[iserrno - ISERR_FIRST] : "");
        return 1;
    }
    if (write_planet(fd, 4, "Mars") != 0 || write_planet(fd, 1, "Mercury") != 0 || write_planet(fd, 3, "Earth") != 0)
        return 2;
    if (write_planet(fd, 3, "Earth again") != -1 || iserrno != ISERR_DUPLICATE) return 3;
    for (mode = ISFIRST; isread(fd, record, mode) == 0; mode = ISNEXT)
        print_planet(record);
    stlong(3, record + NUMBER);
    if (iserrno != ISERR_ENDOFFILE || isread(fd, record, ISEQUAL) != 0) return 4;
    print_planet(record);
    return isclose(fd) == 0 ? 0 : 5;
}
