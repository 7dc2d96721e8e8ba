#include "AccessibleNames.h"

#include <QAbstractButton>
#include <QApplication>
#include <QEvent>
#include <QLineEdit>
#include <QRegularExpression>
#include <QToolButton>

namespace kvx {

namespace {

// Controls whose caption or name does not say what they are for.
struct Purpose {
    const char* objectName;
    const char* name;
};
const Purpose kPurposes[] = {
    {"Command1", "Demo feed (start or stop)"},
    {"Command2", "Redraw the graph"},
    {"Command3", "Redraw the graph from the whole trace"},
    {"CWGraph1", "Trend graph"},
    {"CWKnob1", "Analog dial"},
    {"GridMax", "Dial end value"},
    {"GridBase", "Dial multiplier"},
    {"Value", "Reading"},
    {"LimHigh", "High limit"},
    {"LimLow", "Low limit"},
    {"txtRel", "Relative reference"},
    {"txtRefOhm", "dBm reference impedance"},
    {"txtLimMax", "Upper limit"},
    {"txtLimMin", "Lower limit"},
    {"txtPUnit", "Primary unit"},
    {"txtSUnit", "Secondary unit"},
    {"txtRecno", "Record number"},
    {"txtDataDesc", "Record description"},
    {"txtDataComment", "Sample comment"},
    {"txtTimerSample", "Sampling interval"},
    {"grdHelQuest", "Samples of the working trace"},
    {"grdRecList", "Saved records"},
    {"List1", "Saved records"},
    {"tabPanel", "Front panel pages"},
    {"CmbSample", "Show samples kept for"},
    {"GraphMode", "Graph mouse mode: zoom, pan or cursors"},
    {"XPosition", "Cursor time"},
    {"YPosition", "Cursor reading"},
    {"PeriodVal", "Period between the cursors"},
    {"AmplitudeVal", "Amplitude between the cursors"},
    {"cmdDBM", "dBm"},
    {"cmdREL", "Relative reading"},
    {"cmdComp", "Compare with the limits"},
    {"cmdShutter", "Snapshot of the graph"},
};

QString fromPurposes(const QString& objectName) {
    for (const Purpose& purpose : kPurposes) {
        if (objectName == QLatin1String(purpose.objectName))
            return QString::fromLatin1(purpose.name);
    }
    return {};
}

// "txtStartTime" -> "Start Time", "cmdACDC_Vol" -> "ACDC Vol".
QString spelledOut(const QString& objectName) {
    static const QRegularExpression prefix(
        QStringLiteral("^(txt|cmd|cbo|lbl|grd|mnu|chk|opt|pnl|fra)(?=[A-Z])"));
    static const QRegularExpression wordStart(QStringLiteral("(?<=[a-z])(?=[A-Z])"));
    QString text = objectName;
    text.remove(prefix);
    text.replace(wordStart, QStringLiteral(" "));
    text.replace(QLatin1Char('_'), QLatin1Char(' '));
    return text.trimmed();
}

QString captionOf(const QWidget* control) {
    const auto* button = qobject_cast<const QAbstractButton*>(control);
    if (!button || button->text() == control->objectName())
        return {};
    QString text = button->text();
    text.remove(QRegularExpression(QStringLiteral("&(?!&)")));
    return text.simplified();
}

// The arrow buttons of a stepper: named after the field they step.
QString stepperButtonName(const QWidget* control) {
    const auto* arrow = qobject_cast<const QToolButton*>(control);
    if (!arrow || arrow->arrowType() == Qt::NoArrow || !control->parentWidget())
        return {};
    const bool up = arrow->arrowType() == Qt::UpArrow || arrow->arrowType() == Qt::RightArrow;
    const QString field = accessibleNameFor(control->parentWidget());
    return (up ? QStringLiteral("Step up") : QStringLiteral("Step down")) +
           (field.isEmpty() ? QString() : QStringLiteral(": ") + field);
}

bool takesFocus(const QWidget* control) {
    return control->focusPolicy() != Qt::NoFocus || qobject_cast<const QAbstractButton*>(control);
}

void name(QWidget* control) {
    // Qt's own parts (menu-bar extension, tab scroll arrows) name themselves.
    const bool own = control->objectName().startsWith(QLatin1String("qt_"));
    if (takesFocus(control) && !own && control->accessibleName().isEmpty())
        control->setAccessibleName(accessibleNameFor(control));
    if (control->accessibleDescription().isEmpty() && !control->toolTip().isEmpty())
        control->setAccessibleDescription(control->toolTip());
}

class Namer final : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Polish && watched->isWidgetType())
            name(static_cast<QWidget*>(watched));
        return false;
    }
};

} // namespace

QString accessibleNameFor(const QWidget* control) {
    if (!control->accessibleName().isEmpty())
        return control->accessibleName();
    for (const QString& name : {fromPurposes(control->objectName()), stepperButtonName(control),
                                captionOf(control), control->toolTip()}) {
        if (!name.isEmpty())
            return name;
    }
    if (const auto* field = qobject_cast<const QLineEdit*>(control);
        field && !field->placeholderText().isEmpty())
        return field->placeholderText();
    return spelledOut(control->objectName());
}

void installAccessibleNames() {
    static Namer* namer = nullptr;
    if (namer || !qApp)
        return;
    namer = new Namer(qApp);
    qApp->installEventFilter(namer);
    // Windows made before this (and already polished) are named now.
    for (QWidget* control : QApplication::allWidgets())
        name(control);
}

} // namespace kvx
