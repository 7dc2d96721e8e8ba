#include "Services.h"

#include <QApplication>
#include <QMessageBox>

namespace kvx {

double Clock::secondsSinceMidnight() const {
    return now().time().msecsSinceStartOfDay() / 1000.0;
}

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

namespace {
std::shared_ptr<Clock>& clockSlot() {
    static std::shared_ptr<Clock> c = std::make_shared<SystemClock>();
    return c;
}
std::shared_ptr<MessageService>& messageSlot() {
    static std::shared_ptr<MessageService> m = std::make_shared<DialogMessageService>();
    return m;
}
} // namespace

Clock& clock() {
    return *clockSlot();
}
void setClock(std::shared_ptr<Clock> c) {
    clockSlot() = std::move(c);
}
MessageService& messages() {
    return *messageSlot();
}
void setMessages(std::shared_ptr<MessageService> m) {
    messageSlot() = std::move(m);
}

RandomSource& randomSource() {
    static RandomSource r;
    return r;
}

} // namespace kvx
