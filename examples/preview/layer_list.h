// The list of layers, the topmost first: which are seen, locked and selected, what they are called, and their order.
#ifndef QUARN_EXAMPLES_PREVIEW_LAYER_LIST_H_
#define QUARN_EXAMPLES_PREVIEW_LAYER_LIST_H_

#include <functional>
#include <string>
#include <vector>

#include <QTreeWidget>

#include "preview/editor.h"

namespace preview {

class LayerList : public QTreeWidget {
 public:
  // `editor` answers with the one of the scene that is open.
  explicit LayerList(std::function<Editor*()> editor, QWidget* parent = nullptr);

  // Shows what the editor has; a name that is being written is left alone.
  void Refresh();
  // Has the user write the name of the layer that was selected last.
  void Rename();
  // Puts the selected layers over that of a row, or under all for the row after the last.
  void MoveSelected(int before);

 protected:
  void dropEvent(QDropEvent* event) override;
  void updateGeometries() override;

 private:
  struct Row {
    int id = 0;
    std::string name;
    bool visible = true;
    bool locked = false;

    bool operator==(const Row& other) const {
      return id == other.id && name == other.name && visible == other.visible && locked == other.locked;
    }
  };

  std::vector<Row> Wanted() const;
  void Fill(std::vector<Row> rows);
  void ShowSelection();
  void TakeSelection();
  void TakeChange(QTreeWidgetItem* item, int column);

  const std::function<Editor*()> editor_;
  std::vector<Row> rows_;  // As they are shown.
  std::vector<int> selection_;
  bool filling_ = false;  // What changes is our own doing.
  bool measuring_ = false;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_LAYER_LIST_H_
