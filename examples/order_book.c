/*
 * order_book.c - accounts, and transfers between them under a log.
 *
 *   order_book [DIRECTORY]
 *
 * Moves money in transactions: some are committed, some rolled back, and one is cut short by the death of its process.
 * Then the files are lost and recovered from copies and the log. All along they are compared with what the program
 * itself keeps count of. The exit status is 1 when anything differs or fails.
 *
 * Without DIRECTORY the files go to a temporary directory and are removed at the end.
 */
#define _XOPEN_SOURCE 700
#include "order_files.h"

#include <isam.h>

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

/* ------------------------------------------------------------ the records */

/*  offset  size  field of an account       offset  size  field of an order
 *       0     4  number: the key                0     4  number: the key
 *       4    24  name                           4     4  account that pays
 *      28     4  balance in cents               8     4  account that is paid
 *      32   any  remarks, a line an order      12     4  amount in cents
 *                                              16     1  state                */
enum { NUMBER = 0, NAME = 4, BALANCE = 28, REMARKS = 32, NAME_SIZE = 24 };
enum { FROM = 4, TO = 8, AMOUNT = 12, STATE = 16, ORDER_SIZE = 17 };
enum { BEGUN = 'B', DONE = 'D' };
enum { LONGEST = 24000 }; /* account; read_entry wants less than 24929 */

static KeyDesc by_number = {ISNODUPS, 1, {{NUMBER, 4, LONGTYPE}}, 0, 0};
static char record[LONGEST + 1];

/* --------------------------------------------- what the files must contain */

enum { ACCOUNTS = 6, MORE = 240, MOST_ORDERS = MORE + 10 };

/* Accounts by their numbers, from 1; orders as they come. */
static const char *const names[] = {"",           "Ada Moreau",  "Bruno Keller", "Clara Lindqvist", "Dmitri Sokolov",
                                    "Emi Tanaka", "Farid Haddad"};
static char kept[ACCOUNTS + 1][LONGEST + 1];
static int kept_length[ACCOUNTS + 1];
static char kept_orders[MOST_ORDERS][ORDER_SIZE];
static int order_count;
static long last_number; /* of an order, also of one that was rolled back */
static long total;       /* of all balances, as long as no money is on its way */

/* An order that is begun, in the place of the next one. It stays there once it is counted. */
static char *make_order(long from, long to, long amount) {
    char *order = kept_orders[order_count];
    stlong(++last_number, order + NUMBER);
    stlong(from, order + FROM);
    stlong(to, order + TO);
    stlong(amount, order + AMOUNT);
    order[STATE] = BEGUN;
    return order;
}

/* One side of an order: the balance changes, the remarks get a line. Returns the account's new length. */
static int post(char *account, int length, const char *order) {
    long amount = ldlong(order + AMOUNT), balance = ldlong(account + BALANCE);
    int pays = ldlong(account + NUMBER) == ldlong(order + FROM);
    size_t room = (size_t)(LONGEST + 1 - length);
    int line = snprintf(account + length, room, "order %ld: %ld.%02ld %s %s\n", ldlong(order + NUMBER), amount / 100,
                        amount % 100, pays ? "to" : "from", names[ldlong(order + (pays ? TO : FROM))]);
    check(line > 0 && (size_t)line < room, "room for a remark");
    stlong(pays ? balance - amount : balance + amount, account + BALANCE);
    return length + line;
}

static void expect_posted(long number, const char *order) {
    kept_length[number] = post(kept[number], kept_length[number], order);
}

static void title(int number, const char *text) { printf("\n%d. %s\n\n", number, text); }

static void show_order(const char *order, const char *outcome) {
    long amount = ldlong(order + AMOUNT);
    printf("  order %3ld  %5ld.%02ld  %s to %s: %s\n", ldlong(order + NUMBER), amount / 100, amount % 100,
           names[ldlong(order + FROM)], names[ldlong(order + TO)], outcome);
}

static void show_accounts(void) {
    for (int i = 1; i <= ACCOUNTS; ++i) {
        long balance = ldlong(kept[i] + BALANCE);
        printf("  %d  %-16s %5ld.%02ld  %5d bytes of remarks\n", i, names[i], balance / 100, balance % 100,
               kept_length[i] - REMARKS);
    }
    printf("     %-16s %5ld.%02ld\n", "together", total / 100, total % 100);
}

/* -------------------------------------------------------------- the files */

static int accounts, orders; /* descriptors */

static void open_files(void) {
    check((accounts = isopen("accounts", ISINOUT | ISLOCKMANUAL | ISTRANS | ISVARLEN)) >= 0, "opening the accounts");
    check((orders = isopen("orders", ISINOUT | ISLOCKMANUAL | ISTRANS)) >= 0, "opening the orders");
}

static void close_files(void) { check(isclose(accounts) == 0 && isclose(orders) == 0, "closing the files"); }

static int read_account(long number, int lock) {
    stlong(number, record + NUMBER);
    return isread(accounts, record, ISEQUAL | lock) == 0;
}

/* Compares both files with what they must contain, when so much money is taken and not yet given. */
static void compare_all(long on_the_way) {
    long sum = 0;
    int n = 0;
    for (; isread(accounts, record, n == 0 ? ISFIRST : ISNEXT) == 0; sum += ldlong(record + BALANCE)) {
        check(++n <= ACCOUNTS && isreclen == kept_length[n], "the length of an account");
        check(memcmp(record, kept[n], (size_t)isreclen) == 0, "an account, its balance and its remarks");
    }
    check(n == ACCOUNTS && iserrno == ISERR_ENDOFFILE, "the number of accounts");
    check(sum == total - on_the_way, "the sum of all balances");
    for (n = 0; isread(orders, record, n == 0 ? ISFIRST : ISNEXT) == 0; ++n)
        check(n < order_count && memcmp(record, kept_orders[n], ORDER_SIZE) == 0, "an order");
    check(n == order_count && iserrno == ISERR_ENDOFFILE, "the number of orders");
}

static void write_account(long number, long balance, const char *remarks, int times) {
    int length = REMARKS;
    stlong(number, kept[number] + NUMBER);
    stchar(names[number], kept[number] + NAME, NAME_SIZE);
    stlong(balance, kept[number] + BALANCE);
    for (; times > 0; --times)
        length += snprintf(kept[number] + length, (size_t)(LONGEST + 1 - length), "%s\n", remarks);
    isreclen = kept_length[number] = length;
    check(iswrite(accounts, kept[number]) == 0, "writing an account");
    total += balance;
}

/* The copies are made of closed files before the log begins: they and the log together are all there is to know. */
static void build_and_copy(void) {
    title(1, "Accounts with remarks of any length; copies of the files before the log begins");
    accounts = isvbuild("accounts", REMARKS, LONGEST, &by_number, ISINOUT | ISLOCKMANUAL | ISVARLEN);
    check(accounts >= 0, "building the accounts");
    orders = isbuild("orders", ORDER_SIZE, &by_number, ISINOUT | ISLOCKMANUAL);
    check(orders >= 0, "building the orders");
    check(isaudit(accounts, trail_name, ISAUDSETNAME) == 0, "naming the audit trail");
    check(isaudit(accounts, NULL, ISAUDSTART) == 0, "switching auditing on");
    write_account(1, 50000, "", 0);
    write_account(2, 32050, "Calls on Fridays.", 1);
    write_account(3, 120000, "Wants to hear all of this whenever she calls.", 60);
    write_account(4, 7525, "Opened by his mother.", 1);
    write_account(5, 231000, "Abroad until May.", 1);
    write_account(6, 1800, "", 0);
    compare_all(0);
    show_accounts();
    close_files();
    copy_files();
}

/* ---------------------------------------------------------- the transfers */

/* Posts one side of an order, under a lock that lasts until the transaction ends. Returns the balance. The length of a
 * record of variable length comes in isreclen, and goes out in it. */
static long post_in_file(long number, const char *order) {
    check(read_account(number, ISLOCK), "reading an account");
    isreclen = post(record, isreclen, order);
    check(isrewrite(accounts, record) == 0, "rewriting an account");
    return ldlong(record + BALANCE);
}

/* The first half of a transfer: the order is noted as begun, the money taken. Returns what the payer has left. */
static long take(char *order) {
    long number = 0;
    check(isbegin() == 0, "beginning a transaction");
    check(isuniqueid(orders, &number) == 0 && number == ldlong(order + NUMBER), "the number of an order");
    check(iswrite(orders, order) == 0, "writing an order");
    return post_in_file(ldlong(order + FROM), order);
}

static void finish(char *order) {
    order[STATE] = DONE;
    check(isrewrite(orders, order) == 0, "rewriting an order");
    check(iscommit() == 0, "committing");
}

/* Returns 0 when the transfer was rolled back for lack of money. */
static int transfer(char *order) {
    long from = ldlong(order + FROM), to = ldlong(order + TO);
    long left = take(order);
    post_in_file(to, order);
    check(left == ldlong(kept[from] + BALANCE) - ldlong(order + AMOUNT), "what the payer has left");
    if (left >= 0) {
        finish(order);
        expect_posted(from, order);
        expect_posted(to, order);
        ++order_count;
        return 1;
    }
    /* What a descriptor does after it was rolled back is not logged: both files are opened anew. */
    check(isrollback() == 0, "rolling back");
    close_files();
    open_files();
    return 0;
}

static void show_transfer(long from, long to, long amount, int enough) {
    char *order = make_order(from, to, amount);
    check(transfer(order) == enough, "commit or rollback");
    show_order(order, enough ? "committed" : "not enough money, rolled back");
    compare_all(0);
}

/* A number from 0 on, below the one given; the same ones on every run. */
static long draw(long below) {
    static unsigned long seed = 1;
    seed = (seed * 1103515245UL + 12345UL) & 0x7fffffffUL;
    return (long)(seed >> 8) % below;
}

static void transfers(void) {
    int refused = 0;
    title(2, "Transfers, each a transaction under the log");
    check(islogopen(log_name) == 0, "opening the log");
    open_files();
    show_transfer(3, 1, 12000, 1);
    show_transfer(5, 4, 99950, 1);
    show_transfer(6, 2, 500000, 0);
    printf("\n  After the rollback every balance and every remark is as before.\n");
    for (int i = 0; i < MORE; ++i) {
        long from = draw(ACCOUNTS), step = 1 + draw(ACCOUNTS - 1);
        refused += !transfer(make_order(1 + from, 1 + (from + step) % ACCOUNTS, 100 + draw(60000)));
    }
    compare_all(0);
    printf("  %d more: %d committed, %d rolled back. The sum is as before.\n", MORE, MORE - refused, refused);
    close_files();
    check(islogclose() == 0, "closing the log");
}

/* ----------------------------------------------------- a process is killed */

static pid_t child; /* the process that is killed */

static void end_child(void) {
    if (child > 0) kill(child, SIGKILL);
}

static void kill_in_transfer(void) {
    enum { PAYER = 5, PAID = 2, CENTS = 4200 };
    char *order = make_order(PAYER, PAID, CENTS);
    int status;
    title(3, "A process killed in the middle of a transfer");
    fflush(stdout);
    atexit(end_child);
    check((child = fork()) >= 0, "starting a process");
    if (child == 0) { /* opens log and files itself, and gets no further than the first half */
        check(islogopen(log_name) == 0, "opening the log in the other process");
        open_files();
        take(order);
        raise(SIGSTOP);
        _exit(1);
    }
    check(waitpid(child, &status, WUNTRACED) == child && WIFSTOPPED(status), "waiting for the other process");
    ++order_count;
    expect_posted(PAYER, order);
    show_order(order, "begun, the money taken");

    open_files(); /* no log is open in this process now */
    check(!read_account(PAYER, ISLOCK) && iserrno == ISERR_LOCKED, "the lock on the payer's account");
    printf("  Who wants to lock the payer's account now is told \"%s\".\n", is_errlist[iserrno - ISERR_FIRST]);
    compare_all(CENTS);
    printf("  Read without a lock, the balances add up to %d.%02d less.\n", CENTS / 100, CENTS % 100);
    close_files();

    check(kill(child, SIGKILL) == 0 && waitpid(child, &status, 0) == child, "killing the other process");
    check(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL, "the end of the other process");
    child = 0;
    printf("  Then the process is killed. Its transaction has no end, neither commit nor rollback.\n");
}

/* --------------------------------------------------------------- recovery */

static void recover(void) {
    const char *half_done = kept_orders[order_count - 1];
    long trail_length = size_of(trail_name);
    title(4, "The files are lost and recovered");
    check(truncate("accounts.idx", size_of("accounts.idx") / 2) == 0, "doing damage");
    open_files();
    while (isread(accounts, record, ISNEXT) == 0)
        ;
    check(iserrno != ISERR_ENDOFFILE, "damage that shows");
    printf("  Half of accounts.idx is lost. What reading says: \"%s\".\n",
           iserrno < ISERR_FIRST ? strerror(iserrno) : is_errlist[iserrno - ISERR_FIRST]);
    close_files();
    put_copies_back();
    printf("  The damaged files are put aside, the copies take their place, and all %ld bytes\n", size_of(log_name));
    check(islogopen(log_name) == 0 && isrecover() == 0, "the recovery");
    check(size_of(trail_name) == trail_length, "the audit trail that is written anew");
    open_files();
    compare_all(ldlong(half_done + AMOUNT));
    printf("  of the log are done again: %d accounts and %d orders, each as it must be.\n", ACCOUNTS, order_count);
}

static int is_posted(long number, const char *order) {
    char line[40];
    snprintf(line, sizeof line, "order %ld: ", ldlong(order + NUMBER));
    check(read_account(number, 0), "reading an account");
    record[isreclen] = '\0';
    return strstr(record + REMARKS, line) != NULL;
}

/* Recovery keeps a transaction without an end as far as it got, and an application looks for such when it starts: here
 * an order that is begun and not done. The remarks tell which of its sides are posted; the others follow. */
static void settle(void) {
    char order[ORDER_SIZE] = {0};
    title(5, "The half-done transfer");
    for (int mode = ISFIRST; order[STATE] != BEGUN; mode = ISNEXT)
        check(isread(orders, order, mode) == 0, "looking for an order that is begun");
    show_order(order, "begun, not done");
    check(isbegin() == 0, "beginning a transaction");
    for (int side = FROM; side <= TO; side += TO - FROM) {
        long number = ldlong(order + side);
        int posted = is_posted(number, order);
        check(posted == (side == FROM), "which side is posted");
        printf("  %s's remarks tell %s\n", names[number], posted ? "of it." : "nothing of it: it is posted now.");
        if (!posted) post_in_file(number, order);
    }
    finish(order);
    expect_posted(ldlong(order + TO), order);
    kept_orders[order_count - 1][STATE] = DONE;
    compare_all(0);
    show_order(order, "done");
    show_transfer(5, 6, 2500, 1);

    title(6, "The accounts at the end");
    show_accounts();
    close_files();
    check(islogclose() == 0, "closing the log");
}

/* -------------------------------------------------------- the audit trail */

/* Reads an entry of the trail: the head, and the record with its length in front, which are left out for one without
 * remarks. The next entry follows then; its two letters are a number higher than any length here. Returns the length,
 * or -1 at the end. */
static int read_entry(FILE *trail, char *head, size_t head_size) {
    char two[2];
    size_t got = fread(head, 1, head_size, trail);
    if (got == 0 && feof(trail)) return -1;
    check(got == head_size && head[0] != '\0' && strchr("adrw", head[0]) != NULL, "the head of an entry");
    int first = getc(trail);
    if (first == EOF || ungetc(first, trail) >= 'a') return 0;
    check(fread(two, 1, 2, trail) == 2 && ldint(two) > REMARKS && ldint(two) <= LONGEST, "the length of an image");
    check(fread(record, 1, (size_t)ldint(two), trail) == (size_t)ldint(two), "the image of a record");
    return ldint(two);
}

/* Shows the entries behind a place in the trail. */
static void show_trail(long place) {
    char head[14], clock[12];
    long last[ACCOUNTS + 1] = {0};
    FILE *trail = fopen(trail_name, "rb");
    check(trail != NULL, trail_name);
    title(7, "The accounts' audit trail since the recovery");
    for (int length; (length = read_entry(trail, head, sizeof head)) >= 0;) {
        if (length == 0) continue;
        long number = ldlong(record + NUMBER), balance = ldlong(record + BALANCE);
        check(number >= 1 && number <= ACCOUNTS, "an account of the trail");
        last[number] = balance;
        if (ftell(trail) <= place) continue;
        time_t when = (time_t)ldlong(head + 2);
        int line = length - 1; /* where the last one of the remarks begins */
        while (line > REMARKS && record[line - 1] != '\n')
            --line;
        strftime(clock, sizeof clock, "%H:%M:%S", localtime(&when));
        printf("  %s  process %d  record %ld %s  %5ld.%02ld  %.*s", clock, ldint(head + 6), ldlong(head + 10),
               head[0] == 'r' ? "before" : "after ", balance / 100, balance % 100, length - line, record + line);
    }
    fclose(trail);
    for (int i = 1; i <= ACCOUNTS; ++i)
        check(last[i] == ldlong(kept[i] + BALANCE), "the trail's last word on a balance");
}

int main(int argc, char **argv) {
    prepare(argc > 1 ? argv[1] : NULL);
    build_and_copy();
    transfers();
    kill_in_transfer();
    recover();
    long recovered = size_of(trail_name);
    settle();
    show_trail(recovered);
    printf("\nEverything is as it must be.\n");
    return 0;
}
