/* A stock list as programs of this kind have long been written: members, modes, flags and errors by their customary
 * names, the outcome of each call from isstat1 and isstat2. Compiled by tests/project/names_test.cpp in every dialect
 * of C and C++, unchanged. */
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "isam.h"

#define NUMBER 0
#define NAME 6
#define SHELF 26
#define AMOUNT 28
#define RECLEN 32

struct keydesc number_key, name_key, shelf_key;
char record[RECLEN + 1];

/* Definitions with types behind the parameter list ended with C17. */
#if !defined(__cplusplus) && (!defined(__STDC_VERSION__) || __STDC_VERSION__ <= 201710L)
/* clang-format off */
static void fill(number, name, shelf, amount)
char *number, *name;
int shelf;
long amount;
/* clang-format on */
#else
static void fill(const char *number, const char *name, int shelf, long amount)
#endif
{
    stchar(number, record + NUMBER, 6);
    stchar(name, record + NAME, 20);
    stint(shelf, record + SHELF);
    stlong(amount, record + AMOUNT);
}

static int failures = 0;

static void expect(int line, int result, int code, const char *status) {
    if (result == (code == 0 ? 0 : -1) && iserrno == code && isstat1 == status[0] && isstat2 == status[1]) return;
    printf("line %d: result %d, iserrno %d for %d, status %c%c for %s\n", line, result, iserrno, code, isstat1, isstat2,
           status);
    ++failures;
}

static void expect_true(int line, int truth) {
    if (truth) return;
    printf("line %d\n", line);
    ++failures;
}

#define OK(call) expect(__LINE__, (call), 0, "00")
#define BESIDE_EQUAL(call) expect(__LINE__, (call), 0, "02")
#define FAILS(code, status, call) expect(__LINE__, (call), (code), (status))
#define TRUE_THAT(condition) expect_true(__LINE__, (condition))

static void describe_keys(void) {
    number_key.k_flags = ISNODUPS + LCOMPRESS + TCOMPRESS;
    number_key.k_nparts = 1;
    number_key.k_start = NUMBER;
    number_key.k_leng = 6;
    number_key.k_type = CHARTYPE;

    name_key.k_flags = ISDUPS + COMPRESS;
    name_key.k_nparts = 1;
    name_key.k_start = NAME;
    name_key.k_leng = 20;
    name_key.k_type = CHARTYPE;

    shelf_key.k_flags = ISDUPS + DCOMPRESS;
    shelf_key.k_nparts = 2;
    shelf_key.k_part[0].kp_start = SHELF;
    shelf_key.k_part[0].kp_leng = 2;
    shelf_key.k_part[0].kp_type = INTTYPE;
    shelf_key.k_part[1].kp_start = AMOUNT;
    shelf_key.k_part[1].kp_leng = 4;
    shelf_key.k_part[1].kp_type = LONGTYPE + ISDESC;
}

static int build_file(char *name) {
    int fd = isbuild(name, RECLEN, &number_key, ISINOUT + ISFIXLEN + ISEXCLLOCK);
    if (fd < 0) return fd;
    OK(isaddindex(fd, &name_key));
    OK(isaddindex(fd, &shelf_key));
    FAILS(EKEXISTS, "9I", isaddindex(fd, &name_key));
    OK(isclose(fd));
    return isopen(name, ISINOUT + ISMANULOCK);
}

static void look_at_file(int fd) {
    struct dictinfo info;
    struct keydesc key;
    int i;

    OK(isisaminfo(fd, &info));
    TRUE_THAT(info.di_nkeys == 3 && info.di_recsize == RECLEN && info.di_idxsize > 0 && info.di_nrecords == 0);
    OK(isindexinfo(fd, &key, 3));
    TRUE_THAT(key.k_flags == shelf_key.k_flags && key.k_nparts == 2 && key.k_len == 6 && key.k_rootnode != 0);
    TRUE_THAT(key.k_start == SHELF && key.k_leng == 2 && key.k_type == INTTYPE);
    for (i = 0; i < key.k_nparts && i < NPARTS; ++i)
        TRUE_THAT(key.k_part[i].kp_start == shelf_key.k_part[i].kp_start &&
                  key.k_part[i].kp_leng == shelf_key.k_part[i].kp_leng &&
                  key.k_part[i].kp_type == shelf_key.k_part[i].kp_type);
}

static void change_file(int fd) {
    fill("A-1", "hammer", 1, 20L);
    OK(iswrite(fd, record));
    fill("A-2", "hammer", 1, 30L);
    BESIDE_EQUAL(iswrite(fd, record));
    fill("A-3", "nails", 2, 4000L);
    OK(iswrite(fd, record));
    fill("A-3", "screws", 2, 2500L);
    FAILS(EDUPL, "22", iswrite(fd, record));
    fill("A-3", "hammer", 2, 4000L);
    BESIDE_EQUAL(isrewrite(fd, record));
    fill("A-3", "hammer", 3, 5000L);
    OK(isrewrite(fd, record));
    fill("A-9", "saw", 3, 1L);
    FAILS(ENOREC, "23", isrewrite(fd, record));
}

static void read_file(int fd) {
    int count = 0;

    OK(isstart(fd, &name_key, 0, record, ISFIRST));
    while (isread(fd, record, ISNEXT) == 0)
        ++count;
    FAILS(EENDFILE, "10", -1);
    TRUE_THAT(count == 3);
    FAILS(EBADARG, "9A", isstart(fd, &name_key, 99, record, ISEQUAL));
    name_key.k_leng = 7;
    FAILS(EBADKEY, "9K", isstart(fd, &name_key, 0, record, ISFIRST));
    name_key.k_leng = 20;
}

/* Whoever holds a record is somebody else: here another descriptor of the same file. */
static void pass_a_lock(char *name, int fd) {
    int other = isopen(name, ISINOUT + ISMANULOCK);
    OK(isstart(other, &number_key, 0, record, ISFIRST));
    OK(isread(other, record, ISNEXT + ISLCKW));
    OK(isstart(fd, &number_key, 0, record, ISFIRST));
    FAILS(ELOCKED, "9L", isread(fd, record, ISNEXT + ISSKIPLOCK));
    TRUE_THAT(memcmp(record, "A-1", 3) == 0);
    OK(isread(fd, record, ISNEXT + ISSKIPLOCK));
    TRUE_THAT(memcmp(record, "A-2", 3) == 0);
    OK(isclose(other));
    OK(isread(fd, record, ISPREV + ISSKIPLOCK));
    OK(isclose(fd));
    FAILS(ENOTOPEN, "9O", isread(fd, record, ISFIRST));
}

int main(int argc, char **argv) {
    int fd;
    if (argc != 2) return 2;
    describe_keys();
    fd = build_file(argv[1]);
    TRUE_THAT(fd >= 0);
    look_at_file(fd);
    change_file(fd);
    read_file(fd);
    pass_a_lock(argv[1], fd);
    fd = isopen(argv[1], ISINOUT + ISAUTOLOCK);
    OK(isread(fd, record, ISFIRST));
    OK(isdelcurr(fd));
    FAILS(ENOCURR, "21", isdelcurr(fd));
    OK(isclose(fd));
    OK(iserase(argv[1]));
    FAILS(ENOENT, "90", iserase(argv[1]));
    FAILS(ENOLOG, "9G", isbegin());
    return failures != 0;
}
