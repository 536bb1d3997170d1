#include "preview/actions.h"

#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>

namespace preview {
namespace {

QList<QKeySequence> KeysOf(const Binding& binding) {
  if (!*binding.keys) return {};
  return QKeySequence::listFromString(QString::fromLatin1(binding.keys), QKeySequence::PortableText);
}

bool IsToggle(Command command) { return command == Command::kTogglePanels || command == Command::kToggleFullScreen; }

}  // namespace

Actions::Actions(QMainWindow* window, QWidget* canvas, const Runner& run) {
  QMenuBar* const bar = window->menuBar();
  std::map<Menu, QMenu*> menus;
  menus[Menu::kFile] = bar->addMenu("&File");
  menus[Menu::kEdit] = bar->addMenu("&Edit");
  menus[Menu::kLayer] = bar->addMenu("&Layer");
  menus[Menu::kView] = bar->addMenu("&View");
  menus[Menu::kFilm] = bar->addMenu("F&ilm");
  menus[Menu::kHelp] = bar->addMenu("&Help");
  menus[Menu::kMove] = new QMenu("&Move and Turn", window);
  for (const Binding& binding : Bindings()) {
    QMenu* const menu = menus[binding.menu];
    if (binding.command == Command::kNone) {
      menu->addSeparator();
      continue;
    }
    QAction* const action = menu->addAction(QString::fromLatin1(binding.text));
    action->setShortcuts(KeysOf(binding));
    action->setAutoRepeat(binding.repeats);
    action->setCheckable(IsToggle(binding.command));
    const bool of_window = binding.reach == Reach::kWindow;
    action->setShortcutContext(of_window ? Qt::WindowShortcut : Qt::WidgetShortcut);
    (of_window ? static_cast<QWidget*>(window) : canvas)->addAction(action);
    const Command command = binding.command;
    QObject::connect(action, &QAction::triggered, window, [run, command] { run(command, false); });
    actions_[command] = action;
  }
  menus[Menu::kLayer]->addSeparator();
  menus[Menu::kLayer]->addMenu(menus[Menu::kMove]);
}

Command HeldCommandOf(const QKeyEvent& event) {
  // The arrows of a keypad are arrows.
  const QKeySequence pressed(QKeyCombination(event.modifiers() & ~Qt::KeypadModifier, Qt::Key(event.key())));
  for (const Binding& binding : Bindings()) {
    if (binding.reach != Reach::kHeld) continue;
    if (KeysOf(binding).contains(pressed)) return binding.command;
  }
  return Command::kNone;
}

}  // namespace preview
