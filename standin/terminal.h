#pragma once

#include <QStringList>

#include <optional>

/// Standard input, line by line: with history and completion where a person types, as it comes
/// where a program writes.
class Terminal
{
public:
    /// `words` are what the first word of a line can be completed to.
    explicit Terminal(const QStringList &words);

    bool isPerson() const;
    /// The next line, nothing at the end of the input. The application's events are handled while a
    /// person thinks.
    std::optional<QString> readLine();
};

/// Whether colours may be used on standard output.
bool isColoured();
