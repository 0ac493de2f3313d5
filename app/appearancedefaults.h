#pragma once

#include "autocount/drawproperty/targetdrawproperty.h"

#include <QObject>

#include <opencv2/core.hpp>

class CountingSession;

/**
 * @brief The studio's default appearance of the results: the module's
 * default font and width, with outline and label colours that reach 3:1
 * contrast against the picture's median colour.
 *
 * Each new picture gets its own legible defaults, as long as the user has
 * not chosen colours of their own in the appearance dialog.
 */
class AppearanceDefaults : public QObject
{
    Q_OBJECT
public:
    explicit AppearanceDefaults(CountingSession* session, QObject* parent = nullptr);

    /// The module's default appearance with legible colours for @p image.
    static TARGET_DRAW_PROPERTY For(const cv::Mat& image);

private:
    /// Takes the defaults for the canvas's new picture, unless the user chose colours.
    void Adapt();

    CountingSession* session_;
    TARGET_DRAW_PROPERTY chosen_{}; ///< the colours set here last
    bool hasChosen_ = false;
};
