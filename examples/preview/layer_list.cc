#include "preview/layer_list.h"

#include <algorithm>
#include <utility>

#include <QDropEvent>
#include <QHeaderView>

#include "preview/look.h"

namespace preview {
namespace {

enum Column { kVisible, kLocked, kName, kColumnCount };

constexpr int kBoxWidth = 26, kRowHeight = 24;

// What a layer is called that nobody has named.
std::string NameOf(const studio::Layer& layer) {
  if (!layer.name.empty()) return layer.name;
  if (layer.kind == studio::LayerKind::kColor) return "color";
  if (layer.kind == studio::LayerKind::kText) return layer.text.substr(0, layer.text.find('\n'));
  return layer.file.substr(layer.file.rfind('/') + 1);
}

Qt::CheckState ToState(bool on) { return on ? Qt::Checked : Qt::Unchecked; }

}  // namespace

LayerList::LayerList(std::function<Editor*()> editor, QWidget* parent)
    : QTreeWidget(parent), editor_(std::move(editor)) {
  setAccessibleName("Layers");
  setColumnCount(kColumnCount);
  setHeaderLabels({"", "", "Layer"});
  headerItem()->setIcon(kVisible, IconOf(Symbol::kEye));
  headerItem()->setToolTip(kVisible, "Whether the layer is seen");
  headerItem()->setIcon(kLocked, IconOf(Symbol::kLock));
  headerItem()->setToolTip(kLocked, "Whether the pointer leaves the layer alone");
  header()->setSectionsMovable(false);
  header()->setMinimumSectionSize(kBoxWidth);
  for (const Column column : {kVisible, kLocked}) {
    header()->setSectionResizeMode(column, QHeaderView::Fixed);
    header()->resizeSection(column, kBoxWidth);
  }
  setMinimumHeight(header()->sizeHint().height() + 2 * kRowHeight + 2 * frameWidth());
  // What is left over below the rows looks as they do.
  setBackgroundRole(QPalette::Base);
  setAutoFillBackground(true);
  setRootIsDecorated(false);
  setUniformRowHeights(true);
  setAlternatingRowColors(true);
  setSelectionMode(ExtendedSelection);
  setDragDropMode(InternalMove);
  setEditTriggers(DoubleClicked | EditKeyPressed);
  QObject::connect(this, &QTreeWidget::itemSelectionChanged, this, [this] { TakeSelection(); });
  QObject::connect(this, &QTreeWidget::itemChanged, this,
                   [this](QTreeWidgetItem* item, int column) { TakeChange(item, column); });
}

std::vector<LayerList::Row> LayerList::Wanted() const {
  std::vector<Row> rows;
  for (const Entry& entry : editor_()->entries()) {
    rows.push_back(Row{entry.id, NameOf(entry.layer), entry.layer.visible, entry.layer.locked});
  }
  std::reverse(rows.begin(), rows.end());
  return rows;
}

void LayerList::Refresh() {
  if (state() == EditingState) return;
  if (std::vector<Row> rows = Wanted(); rows != rows_ || topLevelItemCount() != static_cast<int>(rows.size())) {
    Fill(std::move(rows));
    ShowSelection();
  } else if (editor_()->selection() != selection_) {
    ShowSelection();
  }
}

// Items that are there already stay, with the keyboard's place among them.
void LayerList::Fill(std::vector<Row> rows) {
  filling_ = true;
  while (topLevelItemCount() > static_cast<int>(rows.size())) delete takeTopLevelItem(topLevelItemCount() - 1);
  while (topLevelItemCount() < static_cast<int>(rows.size())) addTopLevelItem(new QTreeWidgetItem);
  for (int i = 0; i < static_cast<int>(rows.size()); ++i) {
    const Row& row = rows[static_cast<std::size_t>(i)];
    QTreeWidgetItem* const item = topLevelItem(i);
    // Nothing is dropped onto a layer, only between layers.
    item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsEditable | Qt::ItemIsUserCheckable |
                   Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren);
    item->setSizeHint(kName, QSize(0, kRowHeight));
    item->setText(kName, QString::fromStdString(row.name));
    item->setCheckState(kVisible, ToState(row.visible));
    item->setCheckState(kLocked, ToState(row.locked));
  }
  rows_ = std::move(rows);
  filling_ = false;
}

void LayerList::ShowSelection() {
  filling_ = true;
  selection_ = editor_()->selection();
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const bool selected = editor_()->IsSelected(rows_[i].id);
    QTreeWidgetItem* const item = topLevelItem(static_cast<int>(i));
    if (rows_[i].id == editor_()->selected() && (!currentItem() || currentIndex().row() != static_cast<int>(i))) {
      setCurrentItem(item, kName, QItemSelectionModel::NoUpdate);
    }
    item->setSelected(selected);
  }
  filling_ = false;
}

void LayerList::TakeSelection() {
  if (filling_) return;
  Editor& editor = *editor_();
  std::vector<int> wanted;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (topLevelItem(static_cast<int>(i))->isSelected()) wanted.push_back(rows_[i].id);
  }
  // The row with the keyboard is the last that was selected.
  const int current = currentIndex().row();
  if (current >= 0 && current < static_cast<int>(rows_.size())) {
    const auto it = std::find(wanted.begin(), wanted.end(), rows_[static_cast<std::size_t>(current)].id);
    if (it != wanted.end()) std::rotate(it, it + 1, wanted.end());
  }
  editor.SelectNone();
  for (const int id : wanted) editor.Select(id, true);
  selection_ = editor.selection();
  if (selection_ != wanted) ShowSelection();  // Something is in hand.
}

void LayerList::TakeChange(QTreeWidgetItem* item, int column) {
  const int index = indexOfTopLevelItem(item);
  if (filling_ || index < 0) return;
  const int id = rows_[static_cast<std::size_t>(index)].id;
  Row& row = rows_[static_cast<std::size_t>(index)];
  switch (column) {
    case kVisible:
      row.visible = item->checkState(kVisible) == Qt::Checked;
      editor_()->SetVisible(id, row.visible);
      break;
    case kLocked:
      row.locked = item->checkState(kLocked) == Qt::Checked;
      editor_()->SetLocked(id, row.locked);
      break;
    default: {
      // Without a name of its own it goes by that of its file again.
      const std::string name = item->text(kName).trimmed().toStdString();
      if (name == row.name) break;
      row.name = item->text(kName).toStdString();
      editor_()->Rename(id, name);
    }
  }
}

void LayerList::Rename() {
  Refresh();
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (rows_[i].id != editor_()->selected()) continue;
    setFocus(Qt::OtherFocusReason);
    editItem(topLevelItem(static_cast<int>(i)), kName);
  }
}

// Whole rows are seen, however high the list is.
void LayerList::updateGeometries() {
  if (measuring_) return;
  measuring_ = true;
  QTreeWidget::updateGeometries();
  QMargins margins = viewportMargins();
  margins.setBottom(viewport()->height() % kRowHeight);
  setViewportMargins(margins);
  measuring_ = false;
}

// The editor puts the layers in their place, and Refresh shows it.
void LayerList::dropEvent(QDropEvent* event) {
  event->setDropAction(Qt::IgnoreAction);  // Else the rows that were dragged would be taken away.
  event->accept();
  const QModelIndex onto = indexAt(event->position().toPoint());
  int before = onto.isValid() ? onto.row() : static_cast<int>(rows_.size());
  if (onto.isValid() && event->position().y() > visualRect(onto).center().y()) ++before;
  MoveSelected(before);
}

// Rows count from the top, entries from the bottom: below the layers come those that stay from `before` on.
void LayerList::MoveSelected(int before) {
  std::size_t below = 0;
  for (auto row = static_cast<std::size_t>(std::max(before, 0)); row < rows_.size(); ++row) {
    if (!editor_()->IsSelected(rows_[row].id)) ++below;
  }
  editor_()->MoveTo(editor_()->selection(), below);
}

}  // namespace preview
