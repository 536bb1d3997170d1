#include "preview/command_runner.h"

#include <QClipboard>
#include <QColorDialog>
#include <QFileDialog>
#include <QGuiApplication>
#include <QMessageBox>
#include <QMimeData>
#include <QUrl>

namespace preview {
namespace {

constexpr float kNudgePx = 1, kFarNudgePx = 10;
constexpr float kTurnDeg = 1, kFarTurnDeg = 15;
constexpr float kZoomStep = 1.25f;
constexpr char kSceneFiles[] = "Scenes (*.json);;All files (*)";
constexpr char kMediaFiles[] =
    "Pictures and videos (*.png *.jpg *.jpeg *.webp *.gif *.bmp *.tif *.tiff *.svg *.mp4 *.mkv *.mov *.webm *.avi "
    "*.mpg *.ts);;All files (*)";

// Of the toolkit, so that no desktop has to be there.
constexpr QFileDialog::Options kOwnDialog = QFileDialog::DontUseNativeDialog;

}  // namespace

bool CommandRunner::Run(Command command, bool repeated, CanvasWidget* canvas) {
  return RunOnFile(command) || RunOnLayers(command, repeated) || RunOnView(command, canvas);
}

bool CommandRunner::RunOnFile(Command command) {
  switch (command) {
    case Command::kNew:
      if (MayLeaveScene()) session_->New();
      return true;
    case Command::kOpen: AskForScene(); return true;
    case Command::kSave: session_->Save(); return true;
    case Command::kSaveAs: AskForName(); return true;
    case Command::kAddFiles: AskForFiles(); return true;
    case Command::kAdd:
      if (!session_->AddNext()) AskForFiles();
      return true;
    case Command::kAddColor: AskForColor(); return true;
    case Command::kPlay: session_->TogglePlay(); return true;
    case Command::kRewind: session_->Rewind(); return true;
    case Command::kRecord: session_->ToggleRecording(); return true;
    default: return false;
  }
}

bool CommandRunner::RunOnLayers(Command command, bool repeated) {
  Editor& editor = *session_->editor();
  switch (command) {
    case Command::kUndo: editor.Undo(); return true;
    case Command::kRedo: editor.Redo(); return true;
    case Command::kCut:
      if (Copy()) editor.Delete();
      return true;
    case Command::kCopy: Copy(); return true;
    case Command::kPaste: Paste(); return true;
    case Command::kDuplicate: editor.Duplicate(); return true;
    case Command::kDelete: editor.Delete(); return true;
    case Command::kSelectAll: editor.SelectAll(); return true;
    case Command::kSelectNext: editor.SelectNext(1); return true;
    case Command::kSelectPrevious: editor.SelectNext(-1); return true;
    case Command::kRaise: editor.Raise(false); return true;
    case Command::kRaiseToTop: editor.Raise(true); return true;
    case Command::kLower: editor.Lower(false); return true;
    case Command::kLowerToBottom: editor.Lower(true); return true;
    case Command::kToggleVisible: editor.ToggleVisible(); return true;
    case Command::kToggleLocked: editor.ToggleLocked(); return true;
    case Command::kNudgeLeft: editor.Nudge(-kNudgePx, 0, repeated); return true;
    case Command::kNudgeRight: editor.Nudge(kNudgePx, 0, repeated); return true;
    case Command::kNudgeUp: editor.Nudge(0, -kNudgePx, repeated); return true;
    case Command::kNudgeDown: editor.Nudge(0, kNudgePx, repeated); return true;
    case Command::kNudgeFarLeft: editor.Nudge(-kFarNudgePx, 0, repeated); return true;
    case Command::kNudgeFarRight: editor.Nudge(kFarNudgePx, 0, repeated); return true;
    case Command::kNudgeFarUp: editor.Nudge(0, -kFarNudgePx, repeated); return true;
    case Command::kNudgeFarDown: editor.Nudge(0, kFarNudgePx, repeated); return true;
    case Command::kTurnLeft: editor.Rotate(-kTurnDeg, repeated); return true;
    case Command::kTurnRight: editor.Rotate(kTurnDeg, repeated); return true;
    case Command::kTurnFarLeft: editor.Rotate(-kFarTurnDeg, repeated); return true;
    case Command::kTurnFarRight: editor.Rotate(kFarTurnDeg, repeated); return true;
    default: return false;
  }
}

bool CommandRunner::RunOnView(Command command, CanvasWidget* canvas) {
  switch (command) {
    case Command::kZoomIn: canvas->Zoom(kZoomStep); return true;
    case Command::kZoomOut: canvas->Zoom(1 / kZoomStep); return true;
    case Command::kZoomToFit: canvas->viewport()->Fit(); return true;
    case Command::kZoomToPixels: canvas->ZoomToPixels(); return true;
    case Command::kZoomToSelection: canvas->ZoomToSelection(); return true;
    default: return false;
  }
}

bool CommandRunner::Copy() {
  const std::string text = session_->CopyText();
  if (!text.empty()) QGuiApplication::clipboard()->setText(QString::fromStdString(text));
  return !text.empty();
}

void CommandRunner::Paste() {
  const QMimeData* const data = QGuiApplication::clipboard()->mimeData();
  if (data && data->hasUrls()) {
    AddUrls(data->urls(), studio::Vec());
  } else if (data && data->hasText() && !data->text().isEmpty()) {
    session_->Paste(data->text().toStdString());
  } else {
    session_->TellError("nothing to paste");
  }
}

void CommandRunner::AddUrls(const QList<QUrl>& urls, studio::Vec pos) {
  for (const QUrl& url : urls) {
    if (url.isLocalFile()) {
      session_->AddFile(url.toLocalFile().toStdString(), pos);
    } else {
      session_->TellError("cannot add " + url.toDisplayString().toStdString() + ": it is no file of this machine");
    }
  }
}

bool CommandRunner::MayLeaveScene() {
  if (!session_->editor()->changed()) return true;
  QMessageBox box(QMessageBox::Warning, "quarn-preview",
                  QString::fromStdString(session_->SceneName() + " has changes that are not saved."),
                  QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, window_);
  box.setTextFormat(Qt::PlainText);
  box.setDefaultButton(QMessageBox::Save);
  box.setEscapeButton(QMessageBox::Cancel);
  switch (box.exec()) {
    case QMessageBox::Save: return session_->Save();
    case QMessageBox::Discard: return true;
    default: return false;
  }
}

void CommandRunner::AskForScene() {
  if (!MayLeaveScene()) return;
  const QString file =
      QFileDialog::getOpenFileName(window_, "Open a scene", QString(), kSceneFiles, nullptr, kOwnDialog);
  if (!file.isEmpty()) session_->Open(file.toStdString());
}

void CommandRunner::AskForName() {
  const QString now = QString::fromStdString(session_->options().save);
  const QString file = QFileDialog::getSaveFileName(window_, "Save the scene as", now.isEmpty() ? "scene.json" : now,
                                                    kSceneFiles, nullptr, kOwnDialog);
  if (!file.isEmpty()) session_->SaveAs(file.toStdString());
}

void CommandRunner::AskForFiles() {
  const QStringList files =
      QFileDialog::getOpenFileNames(window_, "Add pictures and videos", QString(), kMediaFiles, nullptr, kOwnDialog);
  for (const QString& file : files) session_->AddFile(file.toStdString(), studio::Vec());
}

void CommandRunner::AskForColor() {
  const QColor color = QColorDialog::getColor(QColor(64, 96, 128), window_, "Add a color",
                                              QColorDialog::DontUseNativeDialog | QColorDialog::ShowAlphaChannel);
  if (!color.isValid()) return;
  session_->AddColor({static_cast<float>(color.redF()), static_cast<float>(color.greenF()),
                      static_cast<float>(color.blueF()), static_cast<float>(color.alphaF())});
}

}  // namespace preview
