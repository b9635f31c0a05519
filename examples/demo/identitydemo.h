#ifndef OMDEMO_IDENTITYDEMO_H
#define OMDEMO_IDENTITYDEMO_H

#include <QString>

/**
 * Signs in with the identity providers: reads the account's properties,
 * gets a token, stores a data entry and reads it back. Prints what happens
 * through @p say; returns 0 on success.
 */
int runIdentityDemo(void (*say)(const QString &line));

#endif
