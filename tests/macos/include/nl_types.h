#ifndef MACOS_NL_TYPES_H_
#define MACOS_NL_TYPES_H_

#include "declared/types.h"

#define NL_CAT_LOCALE 1

typedef struct __nl_cat_d* nl_catd;

MACOS_C_BEGIN
nl_catd catopen(const char*, int);
char* catgets(nl_catd, int, int, const char*);
int catclose(nl_catd);
MACOS_C_END

#endif  // MACOS_NL_TYPES_H_
