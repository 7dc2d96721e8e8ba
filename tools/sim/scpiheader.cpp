#include "scpiheader.h"

#include <QStringList>

namespace kvxsim {

namespace {

int shortFormLength(const QString& patternNode) {
    int length = 0;
    while (length < patternNode.size() && !patternNode.at(length).isLower())
        ++length;
    return length;
}

bool nodeMatches(const QString& node, const QString& patternNode) {
    const QString longForm = patternNode.toUpper();
    return node.size() >= shortFormLength(patternNode) && longForm.startsWith(node);
}

} // namespace

ScpiCommand parseScpiCommand(const QString& line) {
    ScpiCommand command;
    QString text = line.trimmed();
    if (text.startsWith(QLatin1Char(':')))
        text.remove(0, 1);

    const qsizetype blank = text.indexOf(QLatin1Char(' '));
    command.header = (blank < 0 ? text : text.left(blank)).toUpper();
    if (blank >= 0)
        command.argument = text.mid(blank + 1).trimmed();
    if (command.header.endsWith(QLatin1Char('?'))) {
        command.isQuery = true;
        command.header.chop(1);
    }
    return command;
}

bool headerMatches(const QString& header, const QString& pattern) {
    const QStringList nodes = header.split(QLatin1Char(':'));
    const QStringList patternNodes = pattern.split(QLatin1Char(':'));
    if (nodes.size() != patternNodes.size())
        return false;
    for (qsizetype i = 0; i < nodes.size(); ++i) {
        if (!nodeMatches(nodes.at(i), patternNodes.at(i)))
            return false;
    }
    return true;
}

} // namespace kvxsim
