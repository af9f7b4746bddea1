// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef ERRORBOXES_H
#define ERRORBOXES_H

#include <QApplication>
#include <QMessageBox>
#include <QTimer>

#include <algorithm>
#include <functional>

// Meets message boxes as a user would: notices each one that comes up, inside the event
// loop of the box itself, does what the test wants done while it is open, and closes it.
class ErrorBoxes : public QObject
{
public:
    ErrorBoxes()
    {
        connect(&poll, &QTimer::timeout, this, &ErrorBoxes::look);
        poll.start(5);
    }

    std::function<void()> whileOpen = [] {};
    int seen = 0;     // boxes that came up
    int mostOpen = 0; // the most that were open at once
    QString title;    // of the last one

private:
    void look()
    {
        QList<QMessageBox *> boxes;
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
                boxes.append(box);
        if (boxes.isEmpty())
            return;
        seen += boxes.size();
        title = boxes.constLast()->windowTitle();
        whileOpen();
        // The test's doings may have opened another.
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
                mostOpen = std::max(mostOpen, int(boxes.size() + !boxes.contains(box)));
        mostOpen = std::max(mostOpen, int(boxes.size()));
        for (QMessageBox *box : boxes)
            box->close();
    }

    QTimer poll;
};

#endif // ERRORBOXES_H
