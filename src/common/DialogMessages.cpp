#include "DialogMessages.h"

#include <QApplication>
#include <QMessageBox>

namespace kvx {

namespace {
QString titleOrApp(const QString& title) {
    return title.isEmpty() ? QApplication::applicationName() : title;
}
} // namespace

void DialogMessageService::notice(const QString& text, const QString& title) {
    QMessageBox::information(QApplication::activeWindow(), titleOrApp(title), text, QMessageBox::Ok);
}

Answer DialogMessageService::ask(const QString& text, const QString& title) {
    const auto b = QMessageBox::question(QApplication::activeWindow(), titleOrApp(title), text,
                                         QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
    return b == QMessageBox::Yes ? Answer::Yes : Answer::No;
}

} // namespace kvx
