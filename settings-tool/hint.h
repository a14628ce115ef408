#pragma once

#include <QLabel>

/// A text that takes up no room while it is empty.
class Hint : public QLabel
{
public:
    Hint()
    {
        setTextFormat(Qt::PlainText); // ids and paths come from elsewhere
        setWordWrap(true);
        setTextInteractionFlags(Qt::TextSelectableByMouse);
        hide();
    }

    void say(const QStringList &sentences)
    {
        setText(sentences.join(QLatin1Char(' ')));
        setVisible(!sentences.isEmpty());
    }
};
