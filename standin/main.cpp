#include "standin/player.h"
#include "standin/scenario.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QPixmap>
#include <QRandomGenerator>
#include <QTimer>
#include <QWidget>

#include <poll.h>
#include <unistd.h>

#include <limits>
#include <optional>

using namespace standin;

namespace {

QTextStream output(stdout);
QTextStream errors(stderr);

/// The next line of standard input, or nothing at its end. Handles events while a person thinks.
std::optional<QString> readLine(bool isPerson)
{
    if (isPerson)
        output << "> " << Qt::flush;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    constexpr int pauseMs = 20;
    while (isPerson && poll(&input, 1, pauseMs) == 0)
        QCoreApplication::processEvents();
    // Unbuffered, so that a line is played as soon as it arrives.
    QFile file;
    if (!file.open(STDIN_FILENO, QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    const QByteArray line = file.readLine();
    return line.isEmpty() ? std::nullopt : std::optional<QString>(QString::fromUtf8(line));
}

/// Plays statements from standard input as they arrive; a person may go on after a mistake.
int playInput(Scenario &scenario)
{
    const bool isPerson = isatty(STDIN_FILENO);
    for (int number = 1; !scenario.isOver(); ++number) {
        const std::optional<QString> line = readLine(isPerson);
        const QString place = QStringLiteral("-:%1").arg(number);
        if (!line)
            return isPerson ? Scenario::Held : scenario.finish(place);
        const int outcome = scenario.playLine(*line, isPerson ? QString() : place);
        if (outcome != Scenario::Held && !isPerson)
            return outcome;
    }
    return Scenario::Held;
}

int writePicture(const QString &file)
{
    QWidget *dialog = Stage::dialog();
    if (!dialog || !dialog->grab().save(file, "PNG")) {
        errors << file << ": the picture can't be written\n" << Qt::flush;
        return Scenario::Failed;
    }
    output << "A picture of the settings dialog is in " << file << '\n' << Qt::flush;
    return Scenario::Held;
}

/// Unloads the plug-in, reports what it did, and returns the exit status.
int finish(Scenario &scenario, int outcome)
{
    if (scenario.plugin.isOpen())
        scenario.unload();
    const QStringList complaints = scenario.host.complaints();
    for (const QString &complaint : complaints)
        errors << "The plug-in broke a rule: " << complaint << '\n' << Qt::flush;
    if (outcome == Scenario::Held && !complaints.isEmpty())
        return Scenario::Failed;
    if (outcome == Scenario::Held) {
        output << "The plug-in made " << scenario.host.callCount << " calls and gave back all "
               << scenario.host.blocksHandedOut() << " blocks it was handed.\n"
               << Qt::flush;
    }
    return outcome;
}

/// Plays the scenarios one after the other on one stage, up to the first that fails.
int playAll(Scenario &scenario, const QStringList &files, const QString &picture)
{
    scenario.tell = [](const QString &line) { output << line << '\n' << Qt::flush; };
    int outcome = Scenario::Held;
    for (const QString &file : files) {
        if (outcome == Scenario::Held && !scenario.isOver())
            outcome = file == QLatin1String("-") ? playInput(scenario) : scenario.playFile(file);
    }
    if (outcome == Scenario::Held && !picture.isEmpty())
        outcome = writePicture(picture);
    return finish(scenario, outcome);
}

[[noreturn]] void refuse(const QString &why)
{
    errors << why << '\n' << Qt::flush;
    exit(Scenario::Unplayable);
}

/// The number given to an option; ends the program if it isn't one.
quint64 numberOf(const QCommandLineParser &parser, const QCommandLineOption &option, quint64 least,
                 quint64 most)
{
    bool isNumber = false;
    const quint64 number = parser.value(option).toULongLong(&isNumber);
    if (!isNumber || number < least || number > most) {
        refuse(QStringLiteral("--%1 takes a number from %2 to %3, not \"%4\"")
                   .arg(option.names().first(), QString::number(least), QString::number(most),
                        parser.value(option)));
    }
    return number;
}

}

int main(int argc, char *argv[])
{
    // Otherwise lines that the plug-in prints would appear in the wrong place in the story.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    // DISPLAY may name a display that can't be reached.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM",
                qEnvironmentVariableIsEmpty("DISPLAY") ? "offscreen" : "xcb;offscreen");
    // Qt complains if this folder doesn't exist, as it may without a login session.
    const QTemporaryDir runtimeFolder;
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR"))
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtimeFolder.path()));
    QApplication application(argc, argv);
    // Without a desktop, Qt falls back to a font larger than any desktop's.
    if (QApplication::platformName() == QLatin1String("offscreen")) {
        QFont font(QStringLiteral("Sans Serif"));
        font.setPixelSize(12); // 9 points at 96 dots per inch
        QApplication::setFont(font);
    }
    QApplication::setApplicationName(QStringLiteral("staybolt-host"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Loads the plug-in as the voice client does and plays scenarios with it.\n\n"
                       "Exit status: 0 all is well, 1 an expectation failed or the plug-in broke a "
                       "rule,\n2 a scenario or the plug-in can't be used.\n\n"
                       "Statements of a scenario; an expectation must directly follow its cause:\n")
        + Scenario::help());
    parser.addHelpOption();
    const auto option = [&](const char *name, const char *meaning, const char *value = "",
                            const QString &standard = QString()) {
        const QCommandLineOption one(QLatin1String(name), QLatin1String(meaning),
                                     QLatin1String(value), standard);
        parser.addOption(one);
        return one;
    };
    const auto library =
        option("library", "The plug-in's library.", "FILE",
               QApplication::applicationDirPath() + QStringLiteral("/libstaybolt.so.1"));
    const auto config =
        option("config", "The host's configuration folder, by default an empty one.", "FOLDER");
    const auto picture =
        option("settings-picture", "Write a picture of the settings dialog at the end.", "FILE");
    const auto random =
        option("random",
               "Make up that many events and compare what the plug-in does with "
               "what its rules predict. If they differ, print the shortest scenario "
               "that shows it.",
               "EVENTS");
    const auto seed = option("seed", "Make up the same events as an earlier run.", "NUMBER");
    const auto bytes =
        option("bytes", "Make up events from a file, such as one that the fuzzer left.", "FILE");
    parser.addPositionalArgument(QStringLiteral("scenario"),
                                 QStringLiteral("A scenario, or - for standard input. Each "
                                                "continues where the one before it ended."),
                                 QStringLiteral("[scenario...]"));
    parser.process(application);

    const bool isStory =
        parser.isSet(config) || parser.isSet(picture) || !parser.positionalArguments().isEmpty();
    const int ways = int(isStory) + int(parser.isSet(random)) + int(parser.isSet(bytes));
    if (ways > 1 || (parser.isSet(seed) && !parser.isSet(random)))
        refuse(QStringLiteral("Use only one of --random (which --seed belongs to), --bytes, and "
                              "scenarios with their options"));

    // The child processes of the random player run in another folder.
    const QString plugin = QFileInfo(parser.value(library)).absoluteFilePath();
    const auto play = [&]() -> int {
        if (parser.isSet(random)) {
            const auto events = numberOf(parser, random, 1, std::numeric_limits<int>::max());
            const auto number = parser.isSet(seed)
                ? numberOf(parser, seed, 0, std::numeric_limits<quint64>::max())
                : QRandomGenerator::system()->generate();
            return playRandom(plugin, int(events), number, output, errors);
        }
        if (parser.isSet(bytes)) {
            QFile file(parser.value(bytes));
            if (!file.open(QIODevice::ReadOnly))
                refuse(file.fileName() + QStringLiteral(": ") + file.errorString());
            return playBytes(plugin, file.readAll(), output, errors);
        }
        const QStringList files = parser.positionalArguments();
        // Without a scenario, somebody wants to look around.
        const QStringList welcome{QStringLiteral(":/welcome.scn"), QStringLiteral("-")};
        Scenario scenario(plugin, errors, parser.value(config));
        return playAll(scenario, files.isEmpty() ? welcome : files, parser.value(picture));
    };
    // Inside the event loop, as in any program, so that closing the last window would quit.
    QTimer::singleShot(0, &application, [&] { QApplication::exit(play()); });
    return QApplication::exec();
}
