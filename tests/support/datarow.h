#ifndef OMTEST_DATAROW_H
#define OMTEST_DATAROW_H

#include <QtTest/QTest>

namespace omtest {

/** Adds a row to the data table of the test function: its tag, then the
 *  value of each column in order. */
template <typename... Values> void newRow(const char *tag, const Values &...values)
{
    (QTest::newRow(tag) << ... << values);
}

} // namespace omtest

#endif
