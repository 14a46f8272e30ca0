#pragma once
// The main window on the real desktop adapters, in a desktop of the test's own: xdg-mime and
// xdg-open see only the applications registered here. A shell that got hold of the program
// folder's name would expand $HOME, run `id` and create "pwned".
#include "FormHarness.h"
#include "platform/XdgHelpViewer.h"
#include "platform/XdgShell.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

struct XdgSandbox {
    QTemporaryDir root;
    const QString folder = root.filePath("Pro gram 'q' \"dq\" $HOME `id` $(touch pwned) ünïcødé");
    const QProcessEnvironment env = [this] {
        QProcessEnvironment env;
        env.insert("PATH", qEnvironmentVariable("PATH")), env.insert("LC_ALL", "C.UTF-8");
        for (const char* var : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_DIRS"})
            env.insert(var, root.filePath(var));
        // xdg-open asks the file-type associations only on a graphical desktop.
        env.insert("XDG_CURRENT_DESKTOP", "X-Generic"), env.insert("DISPLAY", ":pathlark-test");
        return env;
    }();
    XdgShell shell{XdgDesktop(env)};
    XdgHelpViewer viewer{XdgDesktop(env)};
    QMap<QString, QString> associations;   // type -> desktop file id
    FormHarness h{{.adjust = [this](Platform& p) {
        p.shell = &shell;
        p.helpViewer = &viewer;
    }}};

    XdgSandbox()
    {
        for (const char* sub : {"bin", "out", "XDG_DATA_HOME/applications", "XDG_CONFIG_HOME", "XDG_DATA_DIRS", "HOME"})
            QDir().mkpath(root.filePath(sub));
        // The file-type database, without the machine's registered applications.
        QFile::link("/usr/share/mime", root.filePath("XDG_DATA_DIRS/mime"));
        writeHelp();
        h.form->programFolder = folder;
    }
    static void write(const QString& path, const QByteArray& text)
    {
        QFile file(path);
        file.open(QIODevice::WriteOnly) && file.write(text);
    }
    // The program folder's compiled help file and pages.
    void writeHelp() const
    {
        QDir().mkpath(folder + "/help");
        write(folder + "/Pathlark.chm", "ITSF");
        for (const char* name : {"mainpathlark", "ping", "trace", "dns", "whois"})
            write(folder + "/help/" + name + ".htm", "<!DOCTYPE html>\n<title>Help</title><p>Help</p>\n");
    }

    // Registers application `id` for `type` (none when empty): a stand-in `name` that records
    // its arguments (or, named "broken/...", cannot start), with the Exec line `exec` where %1
    // stands for the stand-in's path.
    void registerApplication(const QString& type, const QString& id, const QString& name, const QString& exec)
    {
        const QByteArray out = root.filePath("out/" + name).toUtf8();
        QDir().mkpath(QFileInfo(root.filePath("bin/" + name)).path());
        write(root.filePath("bin/" + name), name.startsWith("broken/") ? "#!/nonexistent/interpreter\n"
                                                             : "#!/bin/sh\nprintf '%s\\0' \"$@\" > '" + out + ".part' && mv '"
                                                                   + out + ".part' '" + out + "'\n");
        QFile::setPermissions(root.filePath("bin/" + name), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        write(root.filePath("XDG_DATA_HOME/applications/" + id),
              "[Desktop Entry]\nType=Application\nName=x\nExec=" + exec.arg(root.filePath("bin/" + name)).toUtf8() + "\n");
        associations.insert(type, id);   // one per type, the latest
        QByteArray list = "[Default Applications]\n";
        for (auto it = associations.cbegin(); it != associations.cend(); ++it)
            list += (it.key() + '=' + it.value()).toUtf8() + '\n';
        write(root.filePath("XDG_CONFIG_HOME/mimeapps.list"), list);
    }
    // The arguments stand-in `name` was started with, after a bounded wait; empty: not started.
    QStringList recorded(const QString& name) const
    {
        QFile file(root.filePath("out/" + name));
        for (int waited = 0; !file.exists() && waited < 15000; waited += 25)
            QTest::qWait(25);
        QStringList args = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split(QChar(0)) : QStringList();
        file.remove();
        return args.mid(0, args.size() - 1);
    }
};
