// Managing a file's audit trail.
#pragma once

#include "base/isfile.h"

int isAudit(IsamFile *h, char *buffer, int mode);
