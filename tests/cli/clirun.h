#pragma once

// The autocount program as a user starts it, for the end-to-end suites: a
// scratch folder, generated images with known counts, and a run that gives
// the exit status, the lines and the files left behind.

#include "syntheticcells.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

struct Outcome
{
    int exitCode = -1;
    bool crashed = false; ///< ended by a signal
    QString out;
    QString err;
};

/// Discs only: separate when pairs is 0.
inline syntheticcells::Layout Discs(int singles, int pairs, std::uint64_t seed, int radius = 16)
{
    syntheticcells::LayoutParams p;
    p.singles = singles;
    p.pairs = pairs;
    p.minRadius = radius;
    p.maxRadius = radius + 4;
    p.roundOnly = true;
    p.seed = seed;
    return syntheticcells::MakeLayout(p);
}

inline QJsonArray ImagesOf(const QString& json)
{
    return QJsonDocument::fromJson(json.toUtf8()).object().value("images").toArray();
}

class CliEndToEnd : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    QString Path(const QString& name) const { return dir.filePath(name); }

    QString Write(const QString& name, const cv::Mat& image)
    {
        const QString path = Path(name);
        QDir().mkpath(QFileInfo(path).absolutePath());
        EXPECT_TRUE(cv::imwrite(path.toStdString(), image));
        return path;
    }

    /// Runs "autocount count ARGUMENTS" in the scratch folder with the
    /// variables of @p environment added; standard output goes to
    /// @p stdoutFile when one is given.
    Outcome Run(const QStringList& arguments, const QStringList& environment = {},
                const QString& stdoutFile = QString())
    {
        QProcess process;
        if (!stdoutFile.isEmpty())
            process.setStandardOutputFile(stdoutFile, QIODevice::Append);
        process.setWorkingDirectory(dir.path());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        for (const QString& entry : environment)
            env.insert(entry.section('=', 0, 0), entry.section('=', 1));
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(AUTOCOUNT_PROGRAM), QStringList{"count"} + arguments);
        Outcome o;
        if (!process.waitForFinished(240000))
            return o;
        o.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
        o.crashed = process.exitStatus() == QProcess::CrashExit;
        o.out = QString::fromUtf8(process.readAllStandardOutput());
        o.err = QString::fromUtf8(process.readAllStandardError());
        return o;
    }

    /// The --json results of a run that must succeed.
    QJsonArray Images(const QStringList& arguments)
    {
        const Outcome o = Run(QStringList{"--json"} + arguments);
        EXPECT_EQ(o.exitCode, 0) << o.err.toStdString();
        return ImagesOf(o.out);
    }

    int Count(const QStringList& arguments)
    {
        const QJsonArray images = Images(arguments);
        return images.size() == 1 ? images[0].toObject().value("count").toInt(-1) : -1;
    }

    QByteArray Read(const QString& name) const
    {
        QFile file(Path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir dir;
};
