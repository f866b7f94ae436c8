#ifndef STOREFROMC_H
#define STOREFROMC_H

#ifdef __cplusplus
extern "C" {
#endif

/** Uses every function of the store in C. @return "all of it works", or what doesn't */
const char* storeFromC(void);

#ifdef __cplusplus
}
#endif

#endif
