// SPDX-License-Identifier: GPL-3.0-or-later
#include "serverfield.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>

namespace {

const char *const refusal = "Niepoprawny adres serwera";

QString editStyle(const char *background, const char *border)
{
    return QString("QLineEdit {  background-color: %1;  color: white;  border: 1px solid %2;  "
                   "border-radius: 4px;  padding: 3px 6px;}")
        .arg(background, border);
}

} // namespace

ServerField::ServerField(QWidget *parent)
    : QWidget(parent)
    , edit(new QLineEdit)
    , note(new QLabel)
{
    auto *label = new QLabel("Serwer:");
    label->setStyleSheet("QLabel { color: white; font-weight: bold; }");
    note->setStyleSheet("QLabel { color: #e74c3c; }");
    auto *layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setVerticalSpacing(2);
    layout->addWidget(label, 0, 0);
    layout->addWidget(edit, 0, 1);
    layout->addWidget(note, 1, 1);
    // The note's line is kept while empty, so that the widgets under it never jump.
    note->setMinimumHeight(note->fontMetrics().height());
    setFixedWidth(320);
    connect(edit, &QLineEdit::textChanged, this, &ServerField::judge);
    judge(edit->text());
    adjustSize();
}

void ServerField::setText(const QString &text)
{
    edit->setText(text);
}

std::optional<ServerAddress> ServerField::server() const
{
    return ServerAddress::parse(edit->text().trimmed());
}

void ServerField::refuse()
{
    auto *box = new QMessageBox(QMessageBox::Warning, "Serwer", refusal, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
    edit->setFocus(Qt::OtherFocusReason);
}

void ServerField::judge(const QString &text)
{
    const std::optional<ServerAddress> chosen = ServerAddress::parse(text.trimmed());
    edit->setStyleSheet(chosen ? editStyle("#191919", "#666") : editStyle("#5b1f1f", "#e74c3c"));
    note->setText(chosen ? QString() : refusal);
    if (chosen)
        emit serverChanged(*chosen);
}
