// Numbers in records.

#include "base/ismif.h"
#include "isam.h"

int ldint(const void *p) { return ldInt(p); }

int stint(int value, void *p) {
    stInt(value, p);
    return 0;
}

long ldlong(const void *p) { return ldLong(p); }

int stlong(long value, void *p) {
    stLong(value, p);
    return 0;
}

int ldchar(const char *src, int n, char *dst) {
    ldChar(src, n, dst);
    return 0;
}

int stchar(const char *src, char *dst, int n) {
    stChar(src, dst, n);
    return 0;
}

float ldfloat(const void *p) { return ldFloat(p); }

int stfloat(float value, void *p) {
    stFloat(value, p);
    return 0;
}

double lddbl(const void *p) { return ldDbl(p); }

int stdbl(double value, void *p) {
    stDbl(value, p);
    return 0;
}

float ldfltnull(const void *p, short *null) { return ldFltNull(p, null); }

int stfltnull(float value, void *p, short null) {
    stFltNull(value, p, null);
    return 0;
}

double lddblnull(const void *p, short *null) { return ldDblNull(p, null); }

int stdblnull(double value, void *p, short null) {
    stDblNull(value, p, null);
    return 0;
}
