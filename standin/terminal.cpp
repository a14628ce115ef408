#include "standin/terminal.h"

#include <QCoreApplication>
#include <QFile>

#include <editline/readline.h>
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

QStringList completions;

char *nextCompletion(const char *start, int state)
{
    static int position;
    if (state == 0)
        position = 0;
    while (position < completions.size()) {
        const QString &word = completions.at(position++);
        if (word.startsWith(QString::fromLocal8Bit(start)))
            return strdup(word.toLocal8Bit().constData());
    }
    return nullptr;
}

char **complete(const char *start, int, int)
{
    return rl_completion_matches(start, nextCompletion);
}

/// The settings dialog lives on while a person thinks.
int waitAWhile()
{
    QCoreApplication::processEvents();
    pollfd input{STDIN_FILENO, POLLIN, 0};
    poll(&input, 1, 20);
    return 0;
}

}

Terminal::Terminal(const QStringList &words)
{
    completions = words;
    rl_attempted_completion_function = complete;
    rl_event_hook = waitAWhile;
}

bool Terminal::isPerson() const { return isatty(STDIN_FILENO); }

std::optional<QString> Terminal::readLine()
{
    if (isPerson()) {
        char *line = readline("> ");
        if (!line)
            return std::nullopt;
        if (*line)
            add_history(line);
        const QString text = QString::fromLocal8Bit(line);
        free(line);
        return text;
    }
    // Unbuffered, so that a line is played when it comes and not when a block is full.
    QFile input;
    if (!input.open(STDIN_FILENO, QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    const QByteArray line = input.readLine();
    if (line.isEmpty())
        return std::nullopt;
    return QString::fromUtf8(line);
}

bool isColoured()
{
    return isatty(STDOUT_FILENO) && qEnvironmentVariableIsEmpty("NO_COLOR")
        && qgetenv("TERM") != "dumb";
}
