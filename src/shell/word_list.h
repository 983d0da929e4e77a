// A pop-up list of a control's words, as the panels and the special
// controls make them, named so that tests and layouts can find it.
#pragma once

#include <QComboBox>
#include <QString>

#include <span>
#include <string_view>

inline QComboBox* word_list(QWidget* parent, const QString& name,
                            std::span<const std::string_view> words) {
    auto* box = new QComboBox(parent);
    box->setObjectName(name);
    for (std::string_view w : words)
        box->addItem(QString::fromUtf8(w.data(), static_cast<qsizetype>(w.size())));
    return box;
}
