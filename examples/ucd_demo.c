/*
 * ucd_demo.c - the Unicode Character Database as an indexed file.
 *
 *   ucd_demo [DIRECTORY [UnicodeData.txt]]
 *
 * Builds a file set from UnicodeData.txt, a record a character, with three indexes, and works with it: by number, by
 * name, by category, with a second process, and written anew in the order of each index. Whatever comes out of the file
 * is compared with the source data, kept in plain sorted arrays. The exit status is 1 when anything differs, and 2 when
 * the demonstration could not start.
 *
 * Without DIRECTORY the file set goes to a temporary directory and is removed at the end.
 */
#define _XOPEN_SOURCE 700
#include <isam.h>

#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

/* ------------------------------------------------------------ the record */

/*  offset  size  field
 *       0     4  code point, LONGTYPE: the primary key
 *       4    88  name, filled with blanks: a key with duplicates, compressed
 *      92     2  general category: a key with duplicates                   */
enum { CODE = 0, NAME = 4, CATEGORY = 92, NAME_SIZE = 88, CATEGORY_SIZE = 2, RECORD_SIZE = 94 };

typedef struct {
    long code;
    char name[NAME_SIZE + 1];
    char category[CATEGORY_SIZE + 1];
    long recnum; /* the number of its record, 0 for none */
} Character;

static KeyDesc by_code = {ISNODUPS, 1, {{CODE, 4, LONGTYPE}}, 0, 0};
static KeyDesc by_name = {ISDUPS | ISLEADCOMP | ISTRAILCOMP, 1, {{NAME, NAME_SIZE, CHARTYPE}}, 0, 0};
static KeyDesc by_category = {ISDUPS, 1, {{CATEGORY, CATEGORY_SIZE, CHARTYPE}}, 0, 0};

static void store(const Character *from, char *record) {
    stlong(from->code, record + CODE);
    stchar(from->name, record + NAME, NAME_SIZE);
    stchar(from->category, record + CATEGORY, CATEGORY_SIZE);
}

static Character load(const char *record) {
    Character to;
    to.code = ldlong(record + CODE);
    ldchar(record + NAME, NAME_SIZE, to.name);
    ldchar(record + CATEGORY, CATEGORY_SIZE, to.category);
    to.recnum = isrecnum;
    return to;
}

static void set_name(Character *one, const char *name) { snprintf(one->name, sizeof one->name, "%s", name); }

/* --------------------------------------------------------- what must come */

/* The characters that the steps work on. */
enum { SHOWN = 0x20ac, UNASSIGNED = 0x0378, TO_RENAME = 0x2603, TO_DELETE = 0x2639 };

static Character *source; /* as in UnicodeData.txt, in the order of the code points, changed as the file is */
static int source_count;
static int wrong;

static void expect(int good, const char *what) {
    if (good) return;
    ++wrong;
    printf("  *** WRONG: %s (iserrno %d, iserrio 0x%x)\n", what, iserrno, (unsigned)iserrio);
}

static int same(const Character *a, const Character *b) {
    return a->code == b->code && a->recnum == b->recnum && strcmp(a->name, b->name) == 0 &&
           strcmp(a->category, b->category) == 0;
}

static int compare_codes(const void *a, const void *b) {
    long left = ((const Character *)a)->code;
    long right = ((const Character *)b)->code;
    return (left > right) - (left < right);
}

/* Names as the index orders them, filled with blanks; no name holds a byte below the blank. */
static int compare_names(const void *a, const void *b) {
    const Character *left = *(Character *const *)a;
    const Character *right = *(Character *const *)b;
    int order = strcmp(left->name, right->name);
    return order != 0 ? order : compare_codes(left, right);
}

static Character *find_source(long code) {
    Character wanted;
    wanted.code = code;
    return bsearch(&wanted, source, (size_t)source_count, sizeof *source, compare_codes);
}

/* All characters in the order of their names; the caller frees it. */
static Character **sorted_by_name(void) {
    Character **sorted = malloc((size_t)source_count * sizeof *sorted);
    if (sorted == NULL) exit(2);
    for (int i = 0; i < source_count; ++i)
        sorted[i] = &source[i];
    qsort(sorted, (size_t)source_count, sizeof *sorted, compare_names);
    return sorted;
}

/* Reads the source: the first three fields of each line. */
static void read_source(const char *path_of_source) {
    char line[1024];
    int room = 0;
    FILE *in = fopen(path_of_source, "r");
    if (in == NULL) {
        perror(path_of_source);
        exit(2);
    }
    while (fgets(line, sizeof line, in) != NULL) {
        Character one;
        if (sscanf(line, "%lx;%88[^;];%2[^;];", (unsigned long *)&one.code, one.name, one.category) != 3) continue;
        one.recnum = 0;
        if (source_count == room) {
            room += 10000;
            source = realloc(source, (size_t)room * sizeof *source);
            if (source == NULL) exit(2);
        }
        source[source_count++] = one;
    }
    fclose(in);
    qsort(source, (size_t)source_count, sizeof *source, compare_codes);
    if (!find_source(SHOWN) || !find_source(TO_RENAME) || !find_source(TO_DELETE)) {
        fprintf(stderr, "%s: not the character database\n", path_of_source);
        exit(2);
    }
}

/* -------------------------------------------------------------- printing */

static void title(int number, const char *text) { printf("\n%d. %s\n\n", number, text); }

/* A character as a line: number, the character itself where it shows on paper, category, name. */
static void show(const char *before, const Character *one) {
    static const int lead[] = {0, 0xc0, 0xe0, 0xf0};
    char text[8] = " ";
    if (strchr("LNPS", one->category[0]) != NULL) {
        int more = one->code < 0x80 ? 0 : one->code < 0x800 ? 1 : one->code < 0x10000 ? 2 : 3;
        int n = 0;
        text[n++] = (char)(lead[more] | (int)(one->code >> 6 * more));
        while (more-- > 0)
            text[n++] = (char)(0x80 | (one->code >> 6 * more & 0x3f));
        text[n] = '\0';
    }
    printf("%sU+%04lX  %s  %s  %s\n", before, (unsigned long)one->code, text, one->category, one->name);
}

/* ------------------------------------------------------- working with it */

static char directory[160]; /* of the file set */
static char path[200];      /* the file set's base path */
static int temporary;       /* whether both go at the end */
static int file = -1;
static char record[RECORD_SIZE];

static void must(int done, const char *what) {
    if (done) return;
    printf("  *** FAILED: %s (iserrno %d, iserrio 0x%x)\n", what, iserrno, (unsigned)iserrio);
    exit(2);
}

static int start(KeyDesc *key, int length, int mode) { return isstart(file, key, length, record, mode) == 0; }

static int read_code(long code, Character *to) {
    stlong(code, record + CODE);
    if (!start(&by_code, 0, ISEQUAL) || isread(file, record, ISEQUAL) != 0) return 0;
    *to = load(record);
    return 1;
}

static int write_one(Character *one) {
    store(one, record);
    if (iswrite(file, record) != 0) return 0;
    one->recnum = isrecnum;
    return 1;
}

static void load_file(void) {
    const int bar = 40;
    int moving = isatty(1);
    title(1, "The load: a record a character, three indexes kept up all the while");
    must((file = isbuild(path, RECORD_SIZE, &by_code, ISINOUT | ISLOCKMANUAL)) >= 0, "building the file");
    must(isaddindex(file, &by_name) == 0 && isaddindex(file, &by_category) == 0, "adding the indexes");
    for (int i = 0; i < source_count; ++i) {
        must(write_one(&source[i]), "writing a record");
        expect(source[i].recnum == i + 1, "records are numbered as they come");
        if (i + 1 == source_count || (moving && i % 500 == 0)) {
            int full = (int)((long)bar * (i + 1) / source_count);
            printf("%s  [%.*s%*s] %6d records", moving ? "\r" : "", full, "########################################",
                   bar - full, "", i + 1);
            fflush(stdout);
        }
    }
    printf("\n");
}

/* Reads the whole file in each of its orders and compares it with the source. */
static void compare_all(void) {
    Character **names = sorted_by_name();
    char *seen = calloc((size_t)source_count, 1);
    int n = 0;
    if (seen == NULL) exit(2);
    for (expect(start(&by_code, 0, ISFIRST), "start by code"); isread(file, record, ISNEXT) == 0; ++n) {
        Character one = load(record);
        expect(n < source_count && same(&one, &source[n]), "a record by code point");
    }
    expect(n == source_count && iserrno == ISERR_ENDOFFILE, "the number of records by code point");

    n = 0;
    for (expect(start(&by_name, 0, ISFIRST), "start by name"); isread(file, record, ISNEXT) == 0; ++n) {
        Character one = load(record);
        Character *found = find_source(one.code);
        expect(n < source_count && strcmp(one.name, names[n]->name) == 0, "the order of the names");
        expect(found != NULL && same(&one, found) && seen[found - source]++ == 0, "a record by name");
    }
    expect(n == source_count && iserrno == ISERR_ENDOFFILE, "the number of records by name");

    for (expect(start(NULL, 0, ISLAST), "start at the end"); isread(file, record, ISPREV) == 0;) {
        Character one = load(record);
        expect(n > 0 && strcmp(one.name, names[--n]->name) == 0, "the order of the names backwards");
    }
    expect(n == 0 && iserrno == ISERR_ENDOFFILE, "the number of records backwards");
    free(seen);
    free(names);
    printf("  Read back by code point, by name and by name backwards: %d records, each as in the source.\n",
           source_count);
}

static void look_up(long code) {
    Character one;
    title(2, "A record by its code point");
    int found = read_code(code, &one);
    expect(found && same(&one, find_source(code)), "the character looked up");
    if (found) show("  ", &one);
    expect(!read_code(UNASSIGNED, &one) && iserrno == ISERR_NOTFOUND && find_source(UNASSIGNED) == NULL,
           "an unassigned one");
    printf("  U+%04X  is not there: \"%s\".\n", UNASSIGNED, is_errlist[iserrno - ISERR_FIRST]);
}

static void start_on_prefix(const char *prefix) {
    int length = (int)strlen(prefix);
    Character **names = sorted_by_name();
    int at = 0;
    title(3, "A start on the beginning of a name");
    printf("  \"%s\", %d of the key's %d bytes, and the ten records that follow:\n\n", prefix, length, NAME_SIZE);
    while (at < source_count && strncmp(names[at]->name, prefix, (size_t)length) < 0)
        ++at;
    stchar(prefix, record + NAME, NAME_SIZE);
    expect(start(&by_name, length, ISEQUAL), "the start on a prefix");
    for (int i = 0; i < 11; ++i, ++at) {
        Character one;
        expect(isread(file, record, ISNEXT) == 0, "the next name");
        one = load(record);
        expect(at < source_count && same(&one, names[at]), "a name in order");
        show(i == 0 ? "  > " : "    ", &one);
    }
    free(names);
}

static void count_category(const char *category, const char *what) {
    int counted = 0, expected = 0;
    title(4, "All records of one category, counted by its index");
    for (int i = 0; i < source_count; ++i)
        expected += strcmp(source[i].category, category) == 0;
    stchar(category, record + CATEGORY, CATEGORY_SIZE);
    expect(start(&by_category, 0, ISEQUAL), "the start of the category");
    while (isread(file, record, ISNEXT) == 0) {
        Character one = load(record);
        Character *origin = find_source(one.code);
        if (strcmp(one.category, category) != 0) break;
        expect(origin != NULL && same(&one, origin), "a record of the category");
        ++counted;
    }
    expect(counted == expected, "the number of records of the category");
    printf("  %s (%s): %d records; the source has %d.\n", category, what, counted, expected);
}

/* Shows a record between its neighbours in the order of the names. */
static void show_neighbours(const Character *middle) {
    static const char *const before[] = {"    ", "  > ", "    "};
    Character **names = sorted_by_name();
    Character one;
    int at = 0;
    while (names[at] != middle)
        ++at;
    store(middle, record);
    expect(start(&by_name, 0, ISEQUAL) && isread(file, record, ISNEXT) == 0, "the record by its name");
    expect(isread(file, record, ISPREV) == 0, "the record before it");
    for (int i = 0; i < 3; ++i) {
        expect(i == 0 || isread(file, record, ISNEXT) == 0, "a neighbour");
        one = load(record);
        expect(at > 0 && at + 1 < source_count && same(&one, names[at - 1 + i]), "the right neighbour");
        show(before[i], &one);
    }
    free(names);
}

static void rename_one(long code, const char *new_name) {
    Character *one = find_source(code);
    title(5, "A rewrite that moves a record in an index");
    printf("  By name it stands here:\n\n");
    show_neighbours(one);
    set_name(one, new_name);
    store(one, record);
    expect(isrewrite(file, record) == 0 && isrecnum == one->recnum, "the rewrite");
    printf("\n  Renamed, still record %ld, it stands here:\n\n", one->recnum);
    show_neighbours(one);
}

static void delete_and_reuse(long code) {
    Character *one = find_source(code);
    Character gone = *one, found;
    title(6, "A delete, and its record number used again");
    store(one, record);
    expect(isdelete(file, record) == 0, "the delete");
    expect(!read_code(code, &found) && iserrno == ISERR_NOTFOUND, "nothing in its place");
    show("  deleted  ", &gone);
    printf("           It was record %ld; now \"%s\".\n", gone.recnum, is_errlist[iserrno - ISERR_FIRST]);

    /* The newcomer takes the place in the source that its code point, the highest, gives it: the end. */
    memmove(one, one + 1, (size_t)(&source[source_count] - (one + 1)) * sizeof *one);
    one = &source[source_count - 1];
    *one = (Character){0x110000, "A CHARACTER BEYOND THE LAST ONE", "Co", 0};
    expect(write_one(one) && one->recnum == gone.recnum, "the free number is used again");
    show("  written  ", one);
    printf("           It is record %ld again.\n", one->recnum);
}

/* -------------------------------------------------------- two processes */

/* What the writer adds, and what the reader makes of it. */
enum {
    ADDED = 3000,
    GROUP = 100,
    FIRST_ADDED = 0x120000,
    LAST_ADDED = FIRST_ADDED + ADDED - 1,
    RENAMED = FIRST_ADDED + 1000
};
static const char added_name[] = "ADDED WHILE THE OTHER PROCESS READ";
static const char renamed_name[] = "RENAMED BY THE SECOND PROCESS";

static Character added(long code) {
    Character one = {code, "", "Cn", 0};
    snprintf(one.name, sizeof one.name, "%s %ld", added_name, code - FIRST_ADDED);
    return one;
}

typedef struct {
    int reads;   /* how often the reader looked for the last record */
    int states;  /* how many different last records it saw */
    int correct; /* whether each of them was whole and none went back */
    int changed; /* whether its own changes succeeded */
} Report;

/* The second process: opens the file itself, looks at its last record over and over until the writer's last one is
 * there, then renames one record and deletes the one after it. It tells the writer of each whole group that it saw. */
static int second_process(int seen, int written, int result) {
    Report report = {0, 0, 1, 0};
    struct pollfd end = {written, POLLIN | POLLHUP, 0};
    Character last = {0, "", "", 0}, one;
    long group_end = FIRST_ADDED + GROUP - 1;
    int over = 0;
    if ((file = isopen(path, ISINOUT | ISLOCKMANUAL)) < 0 || write(seen, "o", 1) != 1) return 1;
    while (last.code != LAST_ADDED && !over) {
        over = poll(&end, 1, 0) > 0; /* asked first: what was written before that must be seen now */
        if (!start(&by_code, 0, ISLAST) || isread(file, record, ISLAST) != 0) return 1;
        one = load(record);
        ++report.reads;
        if (one.code == last.code) continue;
        if (one.code >= FIRST_ADDED) {
            Character wanted = added(one.code);
            wanted.recnum = one.recnum;
            report.correct &= same(&one, &wanted) && one.code > last.code;
        }
        ++report.states;
        last = one;
        for (; group_end <= last.code && last.code <= LAST_ADDED; group_end += GROUP)
            if (write(seen, "g", 1) != 1) return 1;
    }
    report.correct &= last.code == LAST_ADDED;

    one = added(RENAMED);
    set_name(&one, renamed_name);
    store(&one, record);
    report.changed = isrewrite(file, record) == 0;
    stlong(RENAMED + 1, record + CODE);
    report.changed &= isdelete(file, record) == 0;
    return isclose(file) != 0 || write(result, &report, sizeof report) != (ssize_t)sizeof report;
}

static void two_processes(void) {
    int seen[2], written[2], result[2], status = 0;
    char byte;
    Report report;
    Character one;
    title(7, "A second process reads while the first writes");
    fflush(stdout);
    must(isclose(file) == 0, "closing"); /* locks belong to a process: each opens the file itself */
    must(pipe(seen) == 0 && pipe(written) == 0 && pipe(result) == 0, "making pipes");
    pid_t child = fork();
    must(child >= 0, "starting a process");
    if (child == 0) {
        close(written[1]);
        _exit(second_process(seen[1], written[0], result[1]));
    }
    close(seen[1]);
    close(result[1]);
    close(written[0]);
    must((file = isopen(path, ISINOUT | ISLOCKMANUAL)) >= 0, "opening");
    must(read(seen[0], &byte, 1) == 1, "waiting for the second process");

    /* The arrays grow as the file does, but for the record that the other process is going to delete. */
    source = realloc(source, (size_t)(source_count + ADDED) * sizeof *source);
    must(source != NULL, "finding memory");
    for (long code = FIRST_ADDED; code <= LAST_ADDED; ++code) {
        one = added(code);
        must(write_one(&one), "writing beside a reader");
        if (code != RENAMED + 1) source[source_count++] = one;
        if ((code - FIRST_ADDED) % GROUP == GROUP - 1)
            must(read(seen[0], &byte, 1) == 1, "waiting until the second process saw the group");
    }
    close(written[1]);
    must(read(result[0], &report, sizeof report) == (ssize_t)sizeof report, "hearing from the second process");
    must(waitpid(child, &status, 0) == child && status == 0, "the second process");
    close(seen[0]);
    close(result[0]);

    expect(report.correct && report.states >= ADDED / GROUP, "what the second process read");
    expect(report.changed, "what the second process changed");
    printf("  The first wrote %d more records. Meanwhile the second looked %d times for the last one,\n", ADDED,
           report.reads);
    printf("  met %d different ones, each of them whole, and in the end the last that was written.\n", report.states);
    printf("  Then the second renamed a record and deleted another. The first sees:\n\n");

    set_name(find_source(RENAMED), renamed_name);
    int found = read_code(RENAMED, &one);
    expect(found && same(&one, find_source(RENAMED)), "the record that the second process renamed");
    if (found) show("  ", &one);
    expect(!read_code(RENAMED + 1, &one) && iserrno == ISERR_NOTFOUND, "the record that the second process deleted");
    printf("  U+%X is gone: \"%s\".\n", RENAMED + 1, is_errlist[iserrno - ISERR_FIRST]);
}

/* ------------------------------------------------------------- clustering */

/* The indexes, in the file's order. */
static KeyDesc *const indexes[] = {&by_code, &by_name, &by_category};
static const char *const fields[] = {"code point", "name", "category"};
enum { INDEXES = sizeof indexes / sizeof indexes[0] };

static int compare_by(int index, const Character *left, const Character *right) {
    if (index == 0) return compare_codes(left, right);
    return index == 1 ? strcmp(left->name, right->name) : strcmp(left->category, right->category);
}

/* Writes the file anew in the order of an index. Then the records' numbers, and their places in the data file with
 * them, are in that order; the records are the same, and the library's own checks find nothing. */
static void cluster_by(int index) {
    KeyDesc by_number = {0, 0, {{0, 0, 0}}, 0, 0};
    Character one, before;
    int n = 0, found = 0;
    must((file = iscluster(file, indexes[index])) >= 0, "clustering the file");
    for (int i = 0; i < source_count; ++i)
        source[i].recnum = 0;
    for (expect(start(&by_number, 0, ISFIRST), "start by number"); isread(file, record, ISNEXT) == 0; ++n) {
        one = load(record);
        Character *origin = find_source(one.code);
        expect(one.recnum == n + 1 && origin != NULL && origin->recnum == 0, "each record once");
        expect(n == 0 || compare_by(index, &before, &one) <= 0, "the order of the data file");
        if (origin != NULL) origin->recnum = one.recnum;
        expect(origin != NULL && same(&one, origin), "a record of the clustered file");
        before = one;
    }
    expect(n == source_count && iserrno == ISERR_ENDOFFILE, "the number of records clustered");
    found |= ischeckdata(file) | ischeckvarlen(file, NULL);
    for (int i = 1; i <= INDEXES; ++i)
        found |= ischeckindex(file, i);
    expect(found == 0, "the checks of the clustered file");
    printf("  by %-10s  %d records, in the data file in this order; checks: %d. The last one:\n", fields[index], n,
           found);
    if (n > 0) show("    ", &before);
}

static void cluster(void) {
    title(8, "The file written anew in the order of each of its indexes");
    must(isclose(file) == 0 && (file = isopen(path, ISINOUT | ISLOCKEXCL)) >= 0, "opening for oneself");
    for (int i = 0; i < INDEXES; ++i)
        cluster_by(i);
    must(isclose(file) == 0 && (file = isopen(path, ISINOUT | ISLOCKMANUAL)) >= 0, "opening for all");
}

/* ----------------------------------------------------------------- the end */

static long bytes_of(const char *extension) {
    char name[256];
    struct stat state;
    snprintf(name, sizeof name, "%s%s", path, extension);
    return stat(name, &state) == 0 ? (long)state.st_size : -1;
}

static void describe(void) {
    DictInfo info;
    KeyDesc key;
    title(9, "The file at the end");
    compare_all();
    expect(isisaminfo(file, &info) == 0, "the description");
    expect(info.recordCount == source_count, "the number of records");
    expect(info.recordLength == RECORD_SIZE && info.keyCount == INDEXES, "record length and number of indexes");
    printf("\n  %d records of %d bytes, %d indexes, index nodes of %d bytes\n", info.recordCount, info.recordLength,
           info.keyCount, info.nodeSize);
    for (int i = 0; i < INDEXES && isindexinfo(file, &key, i + 1) == 0; ++i) {
        expect(key.flags == indexes[i]->flags && key.nparts == 1 &&
                   memcmp(&key.parts[0], &indexes[i]->parts[0], sizeof key.parts[0]) == 0,
               "the description of an index");
        printf("  index %d: %-10s  %2d bytes from %2d%s%s%s\n", i + 1, fields[i], key.parts[0].length,
               key.parts[0].start, key.flags & ISDUPS ? ", duplicates" : ", unique",
               key.flags & ISLEADCOMP ? ", leading" : "",
               key.flags & ISTRAILCOMP ? " and trailing bytes compressed" : "");
    }
    printf("  %9ld bytes of data, %ld bytes of indexes\n", bytes_of(".dat"), bytes_of(".idx"));
    expect(bytes_of(".dat") > 0 && bytes_of(".idx") % info.nodeSize == 0, "the sizes of the files");
}

static void remove_files(void) {
    char name[256];
    snprintf(name, sizeof name, "%s.dat", path);
    remove(name);
    snprintf(name, sizeof name, "%s.idx", path);
    remove(name);
}

static void clean_up(void) {
    if (!temporary) return;
    remove_files();
    rmdir(directory);
}

/* Finds the directory, makes it where needed, and clears it of an earlier file set. */
static void prepare(const char *chosen) {
    const char *root = getenv("TMPDIR");
    int length;
    temporary = chosen == NULL;
    if (temporary)
        length = snprintf(directory, sizeof directory, "%s/ucd_demo.XXXXXX", root != NULL && *root ? root : "/tmp");
    else
        length = snprintf(directory, sizeof directory, "%s", chosen);
    if (length >= (int)sizeof directory || (temporary && mkdtemp(directory) == NULL)) {
        fprintf(stderr, "no directory for the file\n");
        exit(2);
    }
    if (!temporary) mkdir(directory, 0777); /* if it cannot be made, the build of the file tells */
    snprintf(path, sizeof path, "%s/ucd", directory);
    remove_files();
    atexit(clean_up);
}

int main(int argc, char **argv) {
    read_source(argc > 2 ? argv[2] : "/usr/share/unicode/UnicodeData.txt");
    prepare(argc > 1 ? argv[1] : NULL);
    printf("The Unicode Character Database as an indexed file: %s.dat, %s.idx\n", path, path);

    load_file();
    compare_all();
    look_up(SHOWN);
    start_on_prefix("GREEK SMALL LETTER");
    count_category("Sm", "mathematical symbols");
    rename_one(TO_RENAME, "HAPPY SNOWMAN");
    delete_and_reuse(TO_DELETE);
    two_processes();
    cluster();
    describe();
    expect(isclose(file) == 0, "the close");

    free(source);
    if (wrong == 0)
        printf("\nEverything is as the source says.\n");
    else
        printf("\n%d results are WRONG.\n", wrong);
    return wrong != 0;
}
