#include "preview/look.h"

#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>
#include <QStyleFactory>

namespace preview {
namespace {

constexpr int kSide = 16;  // Symbols are drawn on a square of that many units.

const QColor kInk(214, 218, 226), kFaded(110, 116, 128), kRed(235, 70, 60);

void Draw(Symbol symbol, const QColor& ink, QPainter* painter) {
  QPen pen(ink, 1.5);
  pen.setCapStyle(Qt::RoundCap);
  pen.setJoinStyle(Qt::RoundJoin);
  painter->setPen(pen);
  painter->setBrush(ink);
  switch (symbol) {
    case Symbol::kPlay: painter->drawPolygon(QPolygonF({{4, 3}, {13, 8}, {4, 13}})); break;
    case Symbol::kPause:
      painter->drawRect(QRectF(4, 3, 2.5, 10));
      painter->drawRect(QRectF(9.5, 3, 2.5, 10));
      break;
    case Symbol::kToStart:
      painter->drawRect(QRectF(3, 3, 1.5, 10));
      painter->drawPolygon(QPolygonF({{13, 3}, {6.5, 8}, {13, 13}}));
      break;
    case Symbol::kRecord:
      painter->setPen(Qt::NoPen);
      painter->setBrush(ink == kInk ? kRed : ink);
      painter->drawEllipse(QPointF(8, 8), 5.5, 5.5);
      break;
    case Symbol::kStop:
      painter->setPen(Qt::NoPen);
      painter->setBrush(kRed);
      painter->drawRoundedRect(QRectF(3, 3, 10, 10), 1.5, 1.5);
      break;
    case Symbol::kEye: {
      painter->setBrush(Qt::NoBrush);
      QPainterPath lids(QPointF(1.5, 8));
      lids.quadTo(8, 1.5, 14.5, 8);
      lids.quadTo(8, 14.5, 1.5, 8);
      painter->drawPath(lids);
      painter->setBrush(ink);
      painter->drawEllipse(QPointF(8, 8), 1.8, 1.8);
      break;
    }
    case Symbol::kLock:
      painter->drawRoundedRect(QRectF(3.5, 7.5, 9, 6), 1, 1);
      painter->setBrush(Qt::NoBrush);
      painter->drawArc(QRectF(5, 2.5, 6, 8), 0, 180 * 16);
      break;
    case Symbol::kUp: painter->drawPolyline(QPolygonF({{3.5, 10.5}, {8, 5.5}, {12.5, 10.5}})); break;
    case Symbol::kDown: painter->drawPolyline(QPolygonF({{3.5, 5.5}, {8, 10.5}, {12.5, 5.5}})); break;
    case Symbol::kBin:
      painter->setBrush(Qt::NoBrush);
      painter->drawLine(QPointF(3, 4.5), QPointF(13, 4.5));
      painter->drawLine(QPointF(6.5, 2.5), QPointF(9.5, 2.5));
      painter->drawPolyline(QPolygonF({{4.5, 4.5}, {5.2, 13.5}, {10.8, 13.5}, {11.5, 4.5}}));
      break;
    case Symbol::kAdd:
      painter->drawLine(QPointF(8, 3), QPointF(8, 13));
      painter->drawLine(QPointF(3, 8), QPointF(13, 8));
      break;
    case Symbol::kFit:
      painter->setBrush(Qt::NoBrush);
      for (const int x : {2, 14}) {
        for (const int y : {3, 13}) {
          painter->drawPolyline(
              QPolygonF({QPointF(x + (x < 8 ? 3.5 : -3.5), y), QPointF(x, y), QPointF(x, y + (y < 8 ? 3.5 : -3.5))}));
        }
      }
      painter->drawRect(QRectF(6, 6.5, 4, 3));
      break;
  }
}

QPixmap Drawn(Symbol symbol, const QColor& ink, int scale) {
  QPixmap pixmap(kSide * scale, kSide * scale);
  pixmap.setDevicePixelRatio(scale);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  Draw(symbol, ink, &painter);
  return pixmap;
}

}  // namespace

void SetLook(QApplication* application) {
  application->setStyle(QStyleFactory::create("Fusion"));
  QPalette palette;
  const QColor window(38, 40, 46), base(28, 30, 35), button(52, 55, 63), text(214, 218, 226);
  palette.setColor(QPalette::Window, window);
  palette.setColor(QPalette::WindowText, text);
  palette.setColor(QPalette::Base, base);
  palette.setColor(QPalette::AlternateBase, QColor(33, 35, 41));
  palette.setColor(QPalette::ToolTipBase, base);
  palette.setColor(QPalette::ToolTipText, text);
  palette.setColor(QPalette::Text, text);
  palette.setColor(QPalette::PlaceholderText, kFaded);
  palette.setColor(QPalette::Button, button);
  palette.setColor(QPalette::ButtonText, text);
  palette.setColor(QPalette::BrightText, kRed);
  palette.setColor(QPalette::Link, QColor(90, 175, 255));
  palette.setColor(QPalette::Highlight, QColor(52, 105, 165));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, kFaded);
  }
  palette.setColor(QPalette::Disabled, QPalette::Highlight, button);
  application->setPalette(palette);
  application->setStyleSheet(
      "QToolTip { color: #d6dae2; background: #1c1e23; border: 1px solid #4a4e58; }"
      "QDockWidget::title { padding: 5px; background: #2e3037; }"
      "QStatusBar::item { border: none; }"
      "QToolBar { border: none; spacing: 4px; padding: 3px; }"
      "QTreeView::indicator:unchecked { border: 1px solid #5a606c; border-radius: 2px; }"
      "QMainWindow::separator { width: 4px; height: 4px; background: #1e2024; }");
}

QIcon IconOf(Symbol symbol) {
  QIcon icon;
  for (const int scale : {1, 2, 3}) {
    icon.addPixmap(Drawn(symbol, kInk, scale));
    icon.addPixmap(Drawn(symbol, kFaded, scale), QIcon::Disabled);
  }
  return icon;
}

}  // namespace preview
