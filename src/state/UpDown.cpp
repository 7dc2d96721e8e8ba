#include "UpDown.h"

#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace kvx {

namespace {

QToolButton* arrowButton(Qt::ArrowType arrow, QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setArrowType(arrow);
    button->setAutoRepeat(true);
    button->setFocusPolicy(Qt::NoFocus);
    button->setFixedSize(16, 11);
    return button;
}

} // namespace

UpDown::UpDown(QWidget* parent)
    : QWidget(parent), m_upButton(arrowButton(Qt::UpArrow, this)),
      m_downButton(arrowButton(Qt::DownArrow, this)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(m_upButton);
    column->addWidget(m_downButton);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(m_upButton, &QToolButton::clicked, this, &UpDown::stepUp);
    connect(m_downButton, &QToolButton::clicked, this, &UpDown::stepDown);
}

void UpDown::setRange(qint64 minimum, qint64 maximum) {
    m_minimum = std::min(minimum, maximum);
    m_maximum = std::max(minimum, maximum);
    m_value = clamped(m_value);
}

void UpDown::setIncrement(qint64 step) {
    m_increment = std::max<qint64>(1, step);
}

void UpDown::setValue(qint64 value) {
    const qint64 next = clamped(value);
    if (next == m_value)
        return;
    m_value = next;
    emit valueChanged(m_value);
}

void UpDown::setValueQuietly(qint64 value) {
    m_value = clamped(value);
}

void UpDown::stepUp() {
    setValue(m_value > m_maximum - m_increment ? m_maximum : m_value + m_increment);
}

void UpDown::stepDown() {
    setValue(m_value < m_minimum + m_increment ? m_minimum : m_value - m_increment);
}

qint64 UpDown::clamped(qint64 value) const {
    return std::clamp(value, m_minimum, m_maximum);
}

} // namespace kvx
