#include "storage/isvarlen.h"

#include "base/isfail.h"

void isVLinit(IsamFile *h) { isFail(h, ISERR_ARGUMENT); }
void isVLdone(IsamFile *) {}
void isVLread(IsamFile *h, char *) { isFail(h, ISERR_ARGUMENT); }
void isVLwrite(IsamFile *h, const char *) { isFail(h, ISERR_ARGUMENT); }
void isVLdel(IsamFile *h) { isFail(h, ISERR_ARGUMENT); }
void isVLfits(IsamFile *h) { isFail(h, ISERR_ARGUMENT); }
