// Turns bytes into events for the plug-in, and judges what it does by its rules. Built with
// libFuzzer, or with a main() that replays saved inputs. The plug-in's exports are part of this
// program, so that the fuzzer can trace the code that its inputs reach.

#include "standin/player.h"
#include "standin/scenario.h"

#include <QApplication>
#include <QFile>

#include <cstdio>
#include <cstdlib>

using namespace standin;

namespace {

void play(const QByteArray &bytes)
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    static QApplication application(argc, argv);

    const QByteArray scenario = scenarioOf(draw(Choices(bytes)));
    QString problem;
    QTextStream errors(&problem);
    QStringList complaints;
    {
        Scenario player(QString(), errors);
        player.play(QString::fromUtf8(scenario), QStringLiteral("line"));
        player.unload();
        complaints = player.host.complaints();
    }
    if (!problem.isEmpty() || !complaints.isEmpty()) {
        fprintf(stderr, "%s%s%s\n", scenario.constData(), qPrintable(problem),
                qPrintable(complaints.join('\n')));
        abort();
    }
}

}

#ifdef STAYBOLT_REPLAY
int main(int argc, char *argv[])
{
    int played = 0;
    for (int i = 1; i < argc; ++i) {
        QFile file(QFile::decodeName(argv[i]));
        if (!file.open(QIODevice::ReadOnly)) {
            fprintf(stderr, "%s can't be read\n", argv[i]);
            return 1;
        }
        play(file.readAll());
        ++played;
    }
    fprintf(stderr, "%d inputs replayed\n", played);
    return played > 0 ? 0 : 1;
}
#else
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    play(QByteArray(reinterpret_cast<const char *>(data), int(size)));
    return 0;
}
#endif
