#pragma once
// One data-driven test row per line: the cells in column order, each of the type
// its column declares (a text literal fills a QString column).

#include <QTest>

namespace kvx::test {

template <class... Cells> void addRow(const char* name, const Cells&... cells) {
    (QTest::newRow(name) << ... << cells);
}

} // namespace kvx::test
