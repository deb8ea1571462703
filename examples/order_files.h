/*
 * order_files.h - the files of the order book as the system sees them: their names and directory, and copies of them.
 */
#ifndef ORDER_FILES_H
#define ORDER_FILES_H

extern char trail_name[]; /* the audit trail of the accounts */
extern const char log_name[];

/* Ends the program with status 1 and a message unless what was done is good. */
void check(int good, const char *what);

/* Finds the directory, makes it where needed, goes there and clears it of earlier files. Null stands for a temporary
 * one, which goes with all files when the program ends. */
void prepare(const char *chosen);

/* Copies all files but the log, none of which is open. */
void copy_files(void);

/* Puts these files aside, as NAME.damaged, and the copies in their place. */
void put_copies_back(void);

/* Bytes of a file, -1 for one that is missing. */
long size_of(const char *name);

#endif /* ORDER_FILES_H */
