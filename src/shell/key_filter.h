// The keys a panel gets from the shell rather than from its controls: Tab and
// Shift-Tab move among its controls, Enter is its "OK" (while `enter_is_ok`),
// Esc its "Cancel".
#pragma once

#include <QObject>

class KeyFilter : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

// Installs the filter on the application once.
void key_filter_install();
