#ifndef OMDEMO_SHOP_H
#define OMDEMO_SHOP_H

/**
 * The demo's shop: asks the price of a good, buys it and lists what the
 * demo owns, in the payment service's test store. Returns 0 when every
 * request got an answer (a refused purchase is an answer too).
 */
int runShop();

#endif
