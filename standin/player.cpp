#include "standin/player.h"

#include "standin/scenario.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <unistd.h>

#include <algorithm>
#include <map>
#include <random>
#include <sstream>

namespace standin {

namespace {

constexpr int runLength = 200;

/// In place of a word that is left out.
const std::string leftOut = "(left out)";

/// What the capital words of the events below can stand for. Among the ids are both ends of the
/// range, and two that differ only in their upper halves.
const std::map<std::string, Line> candidates{
    // Mostly servers that exist.
    {"SERVER", {"A", "B", "C", "A", "B", "C", "A", "B", "C", "Nowhere", "None"}},
    {"CHANNEL", {"1", "4294967297", "18446744073709551615", "2", "3", "0"}},
    {"CLIENT", {"1", "8", "9", "10", "65535"}},
    {"MOVED", {"1", "1", "1", "1", "8", "65535"}},
    {"VISIBILITY", {leftOut, leftOut, leftOut, leftOut, leftOut, "enters", "leaves"}},
    {"UID", {"uid=", "a/b+c=", "50%1=", "Unknown", ""}},
    {"VALUE", {"0", "1", "false", "False", "true", "", "no", "4294967298", "true"}},
    {"TEXT", {"", "  ", " mine ", "0", "H\u00e4nde weg; \"bitte\", 50%"}},
    {"SWITCH", {"on", "on", "off"}},
    {"ITEM", {"-1", "0", "1", "2"}},
    {"REFUSED",
     {"requestClientMove", "requestSendPrivateTextMsg", "getClientID", "getChannelOfClient",
      "getErrorMessage", "getChannelList", "getChannelClientList", "getServerVariableAsString"}},
    {"EMPTY",
     {"getErrorMessage", "getChannelList", "getChannelClientList", "getServerVariableAsString"}},
    {"GARBLED", {"getClientVariableAsString", "getChannelVariableAsString"}},
};

/// What can happen; an entry listed twice happens twice as often. A semicolon separates two lines.
const std::vector<std::string> events{
    "connect SERVER",
    "disconnect SERVER",
    "disconnect SERVER error 1797",
    "move SERVER MOVED CHANNEL VISIBILITY",
    "move SERVER MOVED CHANNEL VISIBILITY",
    "move SERVER CLIENT CHANNEL VISIBILITY",
    "client SERVER CLIENT name CHANNEL",
    "leave SERVER CLIENT",
    "moved SERVER MOVED CHANNEL by CLIENT VISIBILITY",
    "moved SERVER MOVED CHANNEL by CLIENT VISIBILITY",
    "moved SERVER MOVED CHANNEL by CLIENT VISIBILITY",
    "moved SERVER MOVED CHANNEL by CLIENT VISIBILITY",
    "moved SERVER CLIENT CHANNEL by CLIENT VISIBILITY",
    "create SERVER CHANNEL new",
    "delete SERVER CHANNEL",
    "update SERVER CHANNEL",
    "edit SERVER CHANNEL other",
    "reorder SERVER CHANNEL 0",
    "news SERVER CLIENT by CLIENT",
    "rename SERVER CLIENT other",
    "menu SERVER ITEM",
    "menu SERVER ITEM channel CHANNEL",
    "menu SERVER ITEM client CLIENT",
    "tab SERVER ; hotkey key",
    "callbacks inside",
    "callbacks after",
    "refuse REFUSED",
    "empty EMPTY",
    "garble GARBLED",
    "allow REFUSED ; allow REFUSED ; allow REFUSED ; allow GARBLED",
    "set text TEXT ; set notify SWITCH ; set idledock SWITCH ; press save",
    "press remove",
    "press reload",
    "configure ; menu A 1 ; press close",
    "change",
    "change",
    "restart",
};

/// Settings that can be stored or, without a value, removed.
const std::vector<std::string> settings{
    "staybolt.sendNotify VALUE",
    "staybolt.customNotify VALUE",
    "staybolt.permitIdleDock VALUE",
    "module.staybolt.idleDock VALUE",
    "module.staybolt.idleDock VALUE",
    "staybolt.UID VALUE",
    "module.idleDock.UID.target VALUE",
    "module.staybolt.idleDock",
    "staybolt.UID",
};

/// Makes up lines. Each draw is a statement of its own, since the order in which arguments are
/// evaluated differs between compilers.
class Author
{
public:
    explicit Author(Choices &source) : mSource(source) { }

    Lines lines;

    void setTheStage()
    {
        const Line connections{"1", "2", "18446744073709551615"};
        for (size_t i = 0; i < connections.size(); ++i) {
            const std::string server = candidates.at("SERVER")[i];
            lines.push_back({"server", server, candidates.at("UID")[i], connections[i]});
            for (size_t at = 0; at < 3; ++at) {
                const unsigned locked = mSource.below(6);
                add("channel " + server + ' ' + candidates.at("CHANNEL")[at] + " channel"
                    + (locked == 0 ? " password sesame" : ""));
            }
            for (size_t at = 0; at < 3; ++at) {
                const std::string channel = candidates.at("CHANNEL")[mSource.below(3)];
                add((at == 0 ? "user " : "client ") + server + ' ' + candidates.at("CLIENT")[at]
                    + " name " + channel);
            }
        }
        add("server Nowhere nowhere= 4711 ; server None none= 0");
        load();
        add("connect A ; connect B ; connect C");
    }

    void addEvent()
    {
        const std::string &event = events[mSource.below(unsigned(events.size()))];
        if (event == "change") {
            addSetting(event);
        } else if (event == "restart") {
            leave();
            add("unload");
            load();
        } else {
            add(event);
        }
    }

    /// Makes the plug-in forget all servers, even if its library stays loaded.
    void leave()
    {
        add("disconnect A ; disconnect B ; disconnect C ; disconnect Nowhere ; disconnect None");
    }

private:
    void load()
    {
        const unsigned count = mSource.below(4);
        for (unsigned i = 0; i < count; ++i)
            addSetting("setting");
        add("load");
    }

    void addSetting(const std::string &statement)
    {
        add(statement + ' ' + settings[mSource.below(unsigned(settings.size()))]);
    }

    /// Adds the lines of a pattern, with a drawn word in place of each capital word.
    void add(const std::string &pattern)
    {
        std::istringstream words(pattern);
        lines.emplace_back();
        for (std::string word; words >> word;) {
            if (word == ";") {
                lines.emplace_back();
                continue;
            }
            for (const auto &[name, list] : candidates) {
                const size_t at = word.find(name);
                if (at == std::string::npos)
                    continue;
                word.replace(at, name.size(), list[mSource.below(unsigned(list.size()))]);
                break;
            }
            if (word != leftOut)
                lines.back().push_back(word);
        }
    }

    Choices &mSource;
};

/// A word as it is written in a scenario.
QByteArray written(const std::string &word)
{
    const bool isPlain = !word.empty() && word.find_first_of(" \"'#") == std::string::npos;
    const char quote = word.find('"') == std::string::npos ? '"' : '\'';
    return isPlain ? QByteArray::fromStdString(word)
                   : quote + QByteArray::fromStdString(word) + quote;
}

QByteArray written(const Line &line)
{
    QByteArray text;
    for (const std::string &word : line)
        text += (text.isEmpty() ? "" : " ") + written(word);
    return text + '\n';
}

/// Plays a run in a child process, so that a crash is seen, and returns the outcome. A run that
/// crashes or doesn't finish in time has failed.
int play(const QString &library, const Lines &lines, QString *error)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("run.scn")));
    if (!file.open(QIODevice::WriteOnly) || file.write(scenarioOf(lines)) < 0 || !file.flush()) {
        *error = QStringLiteral("%1: %2\n").arg(file.fileName(), file.errorString());
        return Scenario::Unplayable;
    }
    constexpr int longestRunMs = 30000;
    QProcess host;
    host.setWorkingDirectory(folder.path());
    host.start(QCoreApplication::applicationFilePath(),
               {QStringLiteral("--library"), library, QStringLiteral("run.scn")});
    host.closeWriteChannel();
    const bool isOver = host.waitForFinished(longestRunMs);
    *error = QString::fromUtf8(host.readAllStandardError());
    if (!isOver)
        *error += QStringLiteral("The run did not finish in time.\n");
    else if (host.exitStatus() == QProcess::CrashExit)
        *error += QStringLiteral("The run ended with signal %1.\n").arg(host.exitCode());
    return isOver && host.exitStatus() == QProcess::NormalExit ? host.exitCode() : Scenario::Failed;
}

/// Plays a run; if it fails, prints the shortest scenario that fails in the same way.
int playOne(const QString &library, const Lines &lines, QTextStream &output, QTextStream &errors)
{
    QString error;
    const int outcome = play(library, lines, &error);
    if (outcome == Scenario::Failed) {
        errors << "A run failed. Looking for the shortest scenario that fails as well ...\n"
               << Qt::flush;
        const auto fails = [&](const Lines &some) {
            return play(library, some, &error) == Scenario::Failed;
        };
        const Lines shortest = shrink(lines, fails);
        fails(shortest);
        output << scenarioOf(shortest) << Qt::flush;
    }
    errors << error << Qt::flush;
    return outcome;
}

}

Choices Choices::seeded(quint64 seed)
{
    std::mt19937_64 random(seed);
    QByteArray bytes(2000, '\0');
    for (char &byte : bytes)
        byte = char(random());
    return Choices(bytes);
}

unsigned Choices::below(unsigned count)
{
    return atEnd() ? 0 : uchar(mBytes.at(mPosition++)) % count;
}

Lines draw(Choices source)
{
    Author author(source);
    author.setTheStage();
    for (int i = 0; i < runLength && !source.atEnd(); ++i)
        author.addEvent();
    author.leave();
    return author.lines;
}

QByteArray scenarioOf(const Lines &lines)
{
    QByteArray scenario;
    bool expects = false;
    Rules rules;
    for (const Line &line : lines) {
        if (!rules.happen(line))
            continue;
        scenario += written(line);
        for (const Line &expectation : rules.expected) {
            scenario += written(expectation);
            expects = true;
        }
    }
    return expects ? scenario : scenario + "expect nothing\n";
}

Lines shrink(Lines lines, const std::function<bool(const Lines &)> &fails)
{
    for (size_t size = lines.size() / 2; size > 0;) {
        bool isShorter = false;
        for (size_t at = 0; at < lines.size();) {
            Lines fewer = lines;
            const auto first = fewer.begin() + std::ptrdiff_t(at);
            fewer.erase(first, first + std::ptrdiff_t(std::min(size, lines.size() - at)));
            if (fails(fewer)) {
                lines = fewer;
                isShorter = true;
            } else {
                at += size;
            }
        }
        // One by one until no line can go, since removing one may allow another to go.
        if (size > 1)
            size /= 2;
        else if (!isShorter)
            break;
    }
    return lines;
}

int playRandom(const QString &library, int eventCount, quint64 seed, QTextStream &output,
               QTextStream &errors)
{
    const int count = (eventCount + runLength - 1) / runLength;
    for (int i = 0; i < count; ++i) {
        // A person wants to see progress.
        if (isatty(STDERR_FILENO) != 0)
            errors << i << " of " << count << " runs passed\r" << Qt::flush;
        const Lines lines = draw(Choices::seeded(seed + quint64(i)));
        if (const int outcome = playOne(library, lines, output, errors))
            return outcome;
    }
    output << count << " runs of up to " << runLength << " events passed, starting with seed "
           << seed << '\n'
           << Qt::flush;
    return Scenario::Held;
}

int playBytes(const QString &library, const QByteArray &bytes, QTextStream &output,
              QTextStream &errors)
{
    if (const int outcome = playOne(library, draw(Choices(bytes)), output, errors))
        return outcome;
    output << "The run that these " << bytes.size() << " bytes stand for passed.\n" << Qt::flush;
    return Scenario::Held;
}

}
