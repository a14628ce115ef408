#include "standin/random.h"
#include "standin/scenario.h"
#include "standin/stage.h"
#include "standin/terminal.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QPixmap>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QWidget>

namespace {

const char *const welcome =
    "This host stands in for the voice client. The stage is set with two servers, Northgate and\n"
    "Southgate; on both you are Robin, and Mallory and Trudy like to move people. Try:\n\n"
    "  show                                      who is where\n"
    "  move Northgate Robin Den                  go somewhere; the plug-in remembers it\n"
    "  moved Northgate Robin Dungeon by Mallory  be moved, and see what the plug-in does\n"
    "  configure, notify on, save                have the mover told\n"
    "  help                                      everything else; Ctrl-D ends\n\n";

const char *const preparedStage[] = {"server Northgate northgate=",
                                     "channel Northgate 1 Lobby default",
                                     "channel Northgate 2 Dungeon",
                                     "channel Northgate 3 Den",
                                     "user Northgate 7 Robin Lobby",
                                     "client Northgate 8 Mallory Lobby",
                                     "client Northgate 9 Eve Dungeon",
                                     "server Southgate southgate=",
                                     "channel Southgate 11 Hall default",
                                     "channel Southgate 12 Cellar",
                                     "user Southgate 5 Robin Hall",
                                     "client Southgate 6 Trudy Hall",
                                     "load",
                                     "connect Northgate",
                                     "connect Southgate"};

/// Plays statements from standard input as they come; a person may go on after a mistake.
Scenario::Outcome playInput(Scenario &scenario)
{
    Terminal terminal(Scenario::names());
    for (int number = 1;; ++number) {
        const std::optional<QString> line = terminal.readLine();
        const QString place = QStringLiteral("-:%1").arg(number);
        if (!line)
            return terminal.isPerson() ? Scenario::Held : scenario.finish(place);
        const Scenario::Outcome outcome = scenario.playLine(*line, place);
        if (outcome != Scenario::Held && !terminal.isPerson())
            return outcome;
    }
}

/// Prepares the stage for somebody who just wants to look.
Scenario::Outcome playPrepared(Scenario &scenario, QTextStream &output)
{
    output << welcome << Qt::flush;
    for (const char *line : preparedStage) {
        const Scenario::Outcome outcome =
            scenario.playLine(QLatin1String(line), QStringLiteral("the prepared stage"));
        if (outcome != Scenario::Held)
            return outcome;
    }
    return playInput(scenario);
}

void tellStory(QTextStream &output, const QString &line)
{
    // What the plug-in does stands out from what happens to it.
    const bool isPlugin = line.startsWith(QLatin1String("    Staybolt: "));
    const char *const colour = !isColoured() ? "" : isPlugin ? "\033[33m" : "\033[1m";
    output << colour << line << (isColoured() ? "\033[0m" : "") << '\n' << Qt::flush;
}

bool writePicture(Stage &stage, const QString &file, QTextStream &output, QTextStream &errors)
{
    stage.configure();
    QApplication::processEvents();
    const QWidget *dialog = Stage::dialog();
    if (!dialog || !const_cast<QWidget *>(dialog)->grab().save(file, "PNG")) {
        errors << "The picture of the settings dialog can't be written to " << file << '\n'
               << Qt::flush;
        return false;
    }
    output << "A picture of the settings dialog is in " << file << '\n' << Qt::flush;
    return true;
}

}

int main(int argc, char *argv[])
{
    // What the plug-in prints stands in the story where it was printed.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // Qt asks for this folder and complains when nobody has logged in to have one.
    const QTemporaryDir runtimeFolder;
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR"))
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtimeFolder.path()));
    QApplication application(argc, argv);
    // Without a desktop Qt falls back on a font larger than any desktop's.
    if (QApplication::platformName() == QLatin1String("offscreen")) {
        QFont font(QStringLiteral("Sans Serif"));
        font.setPixelSize(12); // 9 points at 96 dots per inch
        QApplication::setFont(font);
    }
    QApplication::setApplicationName(QStringLiteral("staybolt-host"));
    // Closing the dialog must not end the program.
    QApplication::setQuitOnLastWindowClosed(false);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Loads the plug-in as the voice client does and plays scenarios with it.\n\n"
                       "Exit status: 0 all is well, 1 an expectation did not hold or the plug-in "
                       "broke a rule,\n2 a scenario or the plug-in can't be used.\n\n"
                       "Statements of a scenario:\n")
        + Scenario::help());
    parser.addHelpOption();
    const QCommandLineOption library(
        QStringLiteral("library"), QStringLiteral("The plug-in's library."), QStringLiteral("FILE"),
        QApplication::applicationDirPath() + QStringLiteral("/libstaybolt.so.1"));
    const QCommandLineOption config(QStringLiteral("config"),
                                    QStringLiteral("The client's configuration folder, by default "
                                                   "an empty one."),
                                    QStringLiteral("FOLDER"));
    const QCommandLineOption quiet(QStringLiteral("quiet"),
                                   QStringLiteral("Don't tell the story."));
    const QCommandLineOption calls(QStringLiteral("calls"),
                                   QStringLiteral("Print the numbered log of all calls."));
    const QCommandLineOption settings(QStringLiteral("settings"),
                                      QStringLiteral("Show the settings dialog at the end."));
    const QCommandLineOption picture(QStringLiteral("settings-picture"),
                                     QStringLiteral("Write a picture of the settings dialog."),
                                     QStringLiteral("FILE"));
    const QCommandLineOption random(
        QStringLiteral("random"),
        QStringLiteral("Let that many random things happen and compare what the plug-in does with "
                       "what its rules predict."),
        QStringLiteral("EVENTS"));
    const QCommandLineOption seed(QStringLiteral("seed"),
                                  QStringLiteral("Play the random events of an earlier run."),
                                  QStringLiteral("NUMBER"));
    parser.addOptions({library, config, quiet, calls, settings, picture, random, seed});
    parser.addPositionalArgument(QStringLiteral("scenario"),
                                 QStringLiteral("A scenario, - for standard input."),
                                 QStringLiteral("[scenario...]"));
    parser.process(application);

    QTextStream output(stdout);
    QTextStream errors(stderr);
    Stage stage(parser.value(config));
    if (!parser.isSet(quiet))
        stage.tell = [&](const QString &line) { tellStory(output, line); };

    Scenario scenario(stage, parser.value(library), errors);
    int status = Scenario::Held;
    if (argc == 1)
        status = playPrepared(scenario, output);
    const QStringList files = parser.positionalArguments();
    for (const QString &file : files) {
        if (status == Scenario::Held) {
            status = file == QLatin1String("-") ? playInput(scenario) : scenario.playFile(file);
        }
    }

    if (status == Scenario::Held && parser.isSet(random)) {
        const quint64 number = parser.isSet(seed) ? parser.value(seed).toULongLong()
                                                  : QRandomGenerator::system()->generate();
        output << "Seed " << number << '\n' << Qt::flush;
        stage.tell = [](const QString &) {};
        bool isNumber = false;
        const int events = parser.value(random).toInt(&isNumber);
        if (!isNumber || events < 1) {
            errors << "--random takes a number of events\n" << Qt::flush;
            status = Scenario::Mistaken;
        } else if (!playRandom(stage, parser.value(library), events, number, errors)) {
            status = Scenario::Failed;
        }
    }

    const bool wantsDialog = parser.isSet(settings) || parser.isSet(picture);
    if (status == Scenario::Held && wantsDialog && !stage.plugin.isOpen()) {
        const QString error = stage.load(parser.value(library));
        if (!error.isEmpty()) {
            errors << error << '\n' << Qt::flush;
            status = Scenario::Mistaken;
        }
    }
    if (status == Scenario::Held && parser.isSet(picture)
        && !writePicture(stage, parser.value(picture), output, errors)) {
        status = Scenario::Failed;
    }
    if (status == Scenario::Held && parser.isSet(settings)) {
        QApplication::setQuitOnLastWindowClosed(true);
        stage.configure();
        QApplication::exec();
    }

    if (stage.plugin.isOpen())
        stage.unload();
    if (parser.isSet(calls))
        output << stage.host.calls.join(QLatin1Char('\n')) << '\n' << Qt::flush;
    const QStringList complaints = stage.host.complaints();
    for (const QString &complaint : complaints)
        errors << "The plug-in broke a rule: " << complaint << '\n' << Qt::flush;
    if (status == Scenario::Held && !complaints.isEmpty())
        status = Scenario::Failed;
    if (status == Scenario::Held && stage.host.callCount > 0 && !parser.isSet(quiet)) {
        output << "The plug-in made " << stage.host.callCount << " calls and gave back all "
               << stage.host.blocksHandedOut() << " blocks it was handed.\n"
               << Qt::flush;
    }
    return status;
}
