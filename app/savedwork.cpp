#include "savedwork.h"

#include "countingsession.h"
#include "handmarks.h"
#include "refinementhistory.h"

#include "maskchange.h"

#include "autocount/autocountmanager.h"

#include <QCoreApplication>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>

namespace savedwork {

namespace {

// The file's kinds in the order of RefinementOperation::Kind.
static_assert(RefinementOperation::MORPHOLOGY == 0 && RefinementOperation::FILL_HOLES == 1 &&
                  RefinementOperation::AUTO_CUT == 2 && RefinementOperation::DISTANCE_CUT == 3 &&
                  RefinementOperation::MANUAL_CUT == 4 && RefinementOperation::MERGE == 5,
              "the work file names the operations in this order");

/// Draws the regions as the mouse would, with the exact coordinates saved.
void DrawRegions(CountingSession& session, const CountSettings& settings)
{
    AutoCountManager* manager = session.Manager();
    if (!settings.rectangles.isEmpty()) {
        session.SetRegionMode(AutoCountManager::REGION_RECTANGLE);
        for (const QRectF& rect : settings.rectangles) {
            manager->CreateRectItem(rect.topLeft());
            manager->GetCurrentRectItem()->setRect(rect);
            manager->CreateRectItem(rect.topLeft());
        }
    } else if (!settings.polygons.isEmpty()) {
        session.SetRegionMode(AutoCountManager::REGION_POLYGON);
        for (const QPolygonF& polygon : settings.polygons) {
            if (polygon.isEmpty())
                continue;
            manager->CreatePolygonItem(polygon.first());
            for (int i = 1; i < polygon.size(); ++i)
                manager->ChangePolygonItem(polygon[i]);
            manager->CreatePolygonItem(polygon.last());
        }
    } else {
        session.SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    }
}

} // namespace

workfile::Work Collect(const CountingSession& session, const QString& image)
{
    workfile::Work work;
    work.image = image;
    work.settings = session.Settings();
    for (const RefinementOperation& operation : session.History()->Applied()) {
        workfile::Operation saved;
        saved.kind = workfile::Kinds().value(static_cast<int>(operation.kind));
        saved.morphology = operation.morphology;
        saved.change = operation.change;
        work.operations.push_back(saved);
    }
    work.deleted = session.DeletedOutlines();
    work.added = session.Hand()->Points();
    return work;
}

bool Save(const CountingSession& session, const QString& image, const QString& path, QString* error)
{
    if (session.Step() != AutoCountManager::STEP_RESULTS || image.isEmpty()) {
        if (error)
            *error = QCoreApplication::translate(
                         "SavedWork", "%1: only the results of a count of an image file are saved")
                         .arg(path);
        return false;
    }
    workfile::Work work = Collect(session, image);
    work.imageSha256 = workfile::FileSha256(image, error);
    return !work.imageSha256.isEmpty() && workfile::Write(path, work, error);
}

bool Read(const QString& path, workfile::Work& work, QString* error)
{
    QString message;
    if (!workfile::Read(path, work, &message)) {
        // The caller names the work file.
        if (error)
            *error = message.mid(path.size() + 2);
        return false;
    }
    const QString sha = workfile::FileSha256(work.image, error);
    if (sha.isEmpty())
        return false;
    if (sha != work.imageSha256) {
        if (error)
            *error = QCoreApplication::translate(
                         "SavedWork", "the image %1 has changed since the work was saved")
                         .arg(work.image);
        return false;
    }
    return true;
}

bool Restore(CountingSession& session, const workfile::Work& work, QString* error)
{
    if (session.Step() != AutoCountManager::STEP_REGION) {
        if (error)
            *error = QCoreApplication::translate("SavedWork", "the count could not be started");
        return false;
    }
    DrawRegions(session, work.settings);
    session.Next();
    session.ApplySettings(work.settings);
    for (const workfile::Operation& saved : work.operations) {
        RefinementOperation operation;
        operation.kind =
            static_cast<RefinementOperation::Kind>(workfile::Kinds().indexOf(saved.kind));
        operation.morphology = saved.morphology;
        operation.change = saved.change;
        const bool changes = operation.kind != RefinementOperation::MORPHOLOGY &&
                             operation.kind != RefinementOperation::FILL_HOLES;
        if (changes &&
            maskchange::Apply(session.Manager()->GetBinaryImage(), operation.change).empty()) {
            if (error)
                *error =
                    QCoreApplication::translate("SavedWork", "a saved cut does not fit the image");
            return false;
        }
        RefinementHistory::Apply(session.Manager(), operation);
        session.History()->Record(operation);
    }
    session.Next();
    session.Next();
    for (const Contour& outline : work.deleted)
        session.SetDeleted(outline, true);
    session.Hand()->SetPoints(work.added);
    return true;
}

} // namespace savedwork
