#pragma once

#include <QWidget>

QT_BEGIN_NAMESPACE
class QLabel;
class QProgressBar;
class QPushButton;
QT_END_NAMESPACE

class CountingSession;

/**
 * @brief Step 3: automatic cut (with a busy indicator, the other cut controls
 * locked while it runs), manual cut lines, and merging of small gaps.
 */
class SeparatePanel : public QWidget
{
    Q_OBJECT
public:
    explicit SeparatePanel(CountingSession* session, QWidget* parent = nullptr);

    void Refresh();

private:
    void StartAutoCut();
    void StartDistanceCut();
    void SetRunning(bool running);

    CountingSession* session_;
    QPushButton* distanceCut_;
    QPushButton* autoCut_;
    QPushButton* cancel_;
    QPushButton* manualCut_;
    QPushButton* merge_;
    QProgressBar* busy_;
    QLabel* status_;
};
