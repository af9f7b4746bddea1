#include "relay.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <cstdio>

namespace {

int fail(const QString &message)
{
    std::fprintf(stderr, "vorlen-server: %s\n", qPrintable(message));
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("vorlen-server");

    QCommandLineParser parser;
    parser.setApplicationDescription("Relay server of the vorlen arena.");
    parser.addHelpOption();
    const QCommandLineOption listenOption("listen", "Listen on ADDRESS (default 127.0.0.1).",
                                          "ADDRESS", "127.0.0.1");
    const QCommandLineOption portOption("port", "Listen on port N (default 7000).", "N", "7000");
    parser.addOptions({listenOption, portOption});
    parser.process(app);

    QHostAddress address;
    if (!address.setAddress(parser.value(listenOption)))
        return fail("invalid address " + parser.value(listenOption));
    bool ok = false;
    const quint16 port = parser.value(portOption).toUShort(&ok);
    if (!ok)
        return fail("invalid port " + parser.value(portOption));

    Relay relay;
    if (!relay.listen(address, port))
        return fail(QString("cannot listen on %1:%2: %3")
                        .arg(address.toString(), QString::number(port), relay.errorString()));
    qInfo().noquote() << "listening on" << address.toString() + ':' + QString::number(relay.port());
    return app.exec();
}
