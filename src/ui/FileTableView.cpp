#include "ui/FileTableView.h"

#include "ui/CorrectionDelegate.h"
#include "ui/FileTableModel.h"
#include "ui/Icons.h"
#include "ui/Selection.h"

#include <QHeaderView>
#include <QHelpEvent>
#include <QMenu>
#include <QPainter>
#include <QSettings>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QToolTip>

namespace {

constexpr int markerSize = 9;
constexpr int minimumNameWidth = 160;
const QString shownColumnsKey = QStringLiteral("table/shownColumns");

// The name cell: a spinner while analysing, the name (orange when manual),
// then the warning, scissors and soft-passage markers with their tooltips.
class FileNameDelegate : public QStyledItemDelegate {
public:
    explicit FileNameDelegate(const int& spinnerAngle, QObject* parent)
        : QStyledItemDelegate(parent), angle_(spinnerAngle) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        QStyleOptionViewItem opt = option;
        initStyleOption(&opt, index);
        opt.text.clear();
        opt.widget->style()->drawControl(QStyle::CE_ItemViewItem, &opt, painter, opt.widget);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        int x = option.rect.left() + 4;
        const int midY = option.rect.center().y();
        if (index.data(FileTableModel::isAnalyzingRole).toBool()) {
            painter->setPen(QPen(option.palette.color(QPalette::PlaceholderText), 2, Qt::SolidLine, Qt::RoundCap));
            painter->drawArc(QRectF(x + 1, midY - 6, 12, 12), -angle_ * 16, 270 * 16);
            x += 14 + 6;
        }
        const QString name = index.data(Qt::DisplayRole).toString();
        const QVariant colour = index.data(Qt::ForegroundRole);
        const bool selected = option.state & QStyle::State_Selected;
        painter->setPen(colour.isValid()
                            ? (selected ? FileTableModel::onHighlight(colour.value<QColor>()) : colour.value<QColor>())
                            : option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
        const QRect textRect(x, option.rect.top(), option.rect.right() - x, option.rect.height());
        const QString shown = option.fontMetrics.elidedText(name, Qt::ElideMiddle, textRect.width() - 40);
        painter->drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter, shown);
        x += option.fontMetrics.horizontalAdvance(shown) + 6;
        for (const Marker& marker : markers(index)) {
            painter->drawPixmap(QRect(x, midY - markerSize / 2, markerSize, markerSize),
                                Icons::tinted(marker.symbol, marker.colour, markerSize * 2));
            x += markerSize + 6;
        }
        painter->restore();
    }

    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override {
        int x = option.rect.left() + 4 + (index.data(FileTableModel::isAnalyzingRole).toBool() ? 20 : 0);
        const QString shown =
            option.fontMetrics.elidedText(index.data().toString(), Qt::ElideMiddle, option.rect.right() - x - 40);
        x += option.fontMetrics.horizontalAdvance(shown) + 6;
        for (const Marker& marker : markers(index)) {
            if (event->pos().x() >= x - 2 && event->pos().x() < x + markerSize + 2) {
                QToolTip::showText(event->globalPos(), marker.tooltip, view);
                return true;
            }
            x += markerSize + 6;
        }
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    }

private:
    struct Marker {
        QString symbol;
        QColor colour;
        QString tooltip;
    };

    static std::vector<Marker> markers(const QModelIndex& index) {
        std::vector<Marker> out;
        if (const QVariant warning = index.data(FileTableModel::warningRole); warning.isValid())
            out.push_back({QStringLiteral("dialog-warning"), FileTableModel::warningColor, warning.toString()});
        if (index.data(FileTableModel::hasEditsRole).toBool())
            out.push_back({QStringLiteral("edit-cut"), QColor(Qt::cyan), QStringLiteral("Has segment edits")});
        if (index.data(FileTableModel::hasSoftPassagesRole).toBool())
            out.push_back({QStringLiteral("audio-volume-low"), FileTableModel::manualColor,
                           QStringLiteral("Has soft passage (>12 dB below peak)")});
        return out;
    }

    const int& angle_;
};

// The other cells: a coloured figure keeps its meaning on the selection's
// highlight, in a lighter shade of its colour instead of plain white.
class MeaningfulColourDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        const QVariant colour = index.data(Qt::ForegroundRole);
        if (colour.isValid())
            option->palette.setColor(QPalette::HighlightedText, FileTableModel::onHighlight(colour.value<QColor>()));
    }
};

int spinnerAngle = 0;

} // namespace

FileTableView::FileTableView(BatchSession& state, QWidget* parent)
    : QTableView(parent), state_(state), model_(new FileTableModel(state, this)), spinner_(new QTimer(this)) {
    setModel(model_);
    setSelectionMode(SingleSelection);
    setSelectionBehavior(SelectRows);
    setEditTriggers(NoEditTriggers);
    // The arrows move between rows; Tab goes on to the next control.
    setTabKeyNavigation(false);
    setShowGrid(false);
    setAlternatingRowColors(true);
    verticalHeader()->hide();
    verticalHeader()->setDefaultSectionSize(24);
    setItemDelegate(new MeaningfulColourDelegate(this));
    setItemDelegateForColumn(FileTableModel::name, new FileNameDelegate(spinnerAngle, this));
    setItemDelegateForColumn(FileTableModel::correction,
                             new CorrectionDelegate(
                                 this, FileTableModel::correction, [this](int row) { return model_->file(row); },
                                 [this] {
                                     if (onCorrectionChanged_)
                                         onCorrectionChanged_();
                                 }));
    QHeaderView* header = horizontalHeader();
    header->setSectionResizeMode(FileTableModel::name, QHeaderView::Stretch);
    header->setMinimumSectionSize(80);
    // The figures keep their width; the name column gives way and elides.
    // The given widths, widened where this font needs more room for the title.
    const std::pair<int, int> widths[] = {{FileTableModel::peak, 100},
                                          {FileTableModel::correction, 120},
                                          {FileTableModel::final, 100},
                                          {FileTableModel::headroom, 100}};
    for (const auto& [column, width] : widths) {
        const QString title = model_->headerData(column, Qt::Horizontal).toString();
        setColumnWidth(column, std::max(width, header->fontMetrics().horizontalAdvance(title) + 16));
        header->setSectionResizeMode(column, QHeaderView::Fixed);
    }
    int figures = 0;
    for (const auto& [column, width] : widths)
        figures += columnWidth(column);
    // The album's column, in album mode only; it scrolls rather than squeeze the names.
    setColumnWidth(FileTableModel::album, 220);
    header->setSectionResizeMode(FileTableModel::album, QHeaderView::Interactive);
    setColumnHidden(FileTableModel::album, !state_.albumMode());
    connect(&state_, &BatchSession::albumModeChanged, this,
            [this] { setColumnHidden(FileTableModel::album, !state_.albumMode()); });
    setMinimumWidth(figures + minimumNameWidth + 2 * frameWidth());
    // The optional figures, shown as last chosen; with many of them the
    // table scrolls sideways rather than widen the window.
    const QStringList shown = QSettings().value(shownColumnsKey).toStringList();
    for (int column = FileTableModel::firstOptionalColumn; column < FileTableModel::columnCount_; ++column) {
        const QString title = model_->headerData(column, Qt::Horizontal).toString();
        setColumnWidth(column, std::max(100, header->fontMetrics().horizontalAdvance(title) + 16));
        header->setSectionResizeMode(column, QHeaderView::Fixed);
        setColumnHidden(column, !shown.contains(FileTableModel::columnKey(column)));
    }
    setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    header->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(header, &QWidget::customContextMenuRequested, this, [this, header](const QPoint& pos) {
        QMenu* menu = columnsMenu();
        menu->exec(header->mapToGlobal(pos));
        menu->deleteLater();
    });
    setContextMenuPolicy(Qt::CustomContextMenu);

    connect(this, &QWidget::customContextMenuRequested, this, [this](const QPoint& pos) {
        if (QMenu* menu = contextMenuFor(indexAt(pos).row())) {
            menu->exec(viewport()->mapToGlobal(pos));
            menu->deleteLater();
        }
    });
    connect(selectionModel(), &QItemSelectionModel::currentRowChanged, this, [this](const QModelIndex& current) {
        if (syncing_)
            return;
        const AudioFileItemPtr file = model_->file(current.row());
        selection_.select(file ? std::optional(file->id()) : std::nullopt);
    });
    connect(&selection_, &Selection::changed, this, &FileTableView::selectFromState);
    connect(model_, &QAbstractItemModel::modelReset, this, &FileTableView::selectFromState);
    connect(model_, &QAbstractItemModel::rowsInserted, this, &FileTableView::selectFromState);
    connect(model_, &QAbstractItemModel::rowsRemoved, this, &FileTableView::selectFromState);
    // The spinners turn while anything is being analysed.
    spinner_->setInterval(50);
    connect(spinner_, &QTimer::timeout, this, [this] {
        spinnerAngle = (spinnerAngle + 30) % 360;
        bool any = false;
        for (const AudioFileItemPtr& f : state_.files())
            any = any || f->isAnalyzing();
        if (any)
            viewport()->update();
        else
            spinner_->stop();
    });
    connect(model_, &QAbstractItemModel::dataChanged, this, [this] {
        if (!spinner_->isActive())
            spinner_->start();
    });
    spinner_->start();
    selectFromState();
}

void FileTableView::selectFromState() {
    const int row = selection_.fileID() ? model_->rowOf(*selection_.fileID()) : -1;
    syncing_ = true;
    if (row < 0)
        selectionModel()->clearSelection();
    else
        selectionModel()->setCurrentIndex(model_->index(row, 0),
                                          QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    syncing_ = false;
}

QMenu* FileTableView::contextMenuFor(int row) {
    const AudioFileItemPtr file = model_->file(row);
    if (!file || !file->isManualOverride())
        return nullptr;
    auto* menu = new QMenu(this);
    menu->addAction(QStringLiteral("Reset to Auto Correction"), this, [this, file] { state_.resetOverride(*file); });
    return menu;
}

QMenu* FileTableView::columnsMenu() {
    auto* menu = new QMenu(this);
    for (int column = FileTableModel::firstOptionalColumn; column < FileTableModel::columnCount_; ++column) {
        QAction* action = menu->addAction(FileTableModel::columnName(column));
        action->setCheckable(true);
        action->setChecked(!isColumnHidden(column));
        connect(action, &QAction::toggled, this, [this, column](bool show) {
            setColumnHidden(column, !show);
            QStringList shown;
            for (int c = FileTableModel::firstOptionalColumn; c < FileTableModel::columnCount_; ++c)
                if (!isColumnHidden(c))
                    shown << FileTableModel::columnKey(c);
            QSettings().setValue(shownColumnsKey, shown);
        });
    }
    return menu;
}

void FileTableView::paintEvent(QPaintEvent* event) {
    QTableView::paintEvent(event);
    if (model_->rowCount() > 0)
        return;
    // The drop hint, centred on the empty table.
    QPainter painter(viewport());
    const QColor tertiary = palette().color(QPalette::PlaceholderText).darker(130);
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    QFont font = painter.font();
    font.setPixelSize(13);
    painter.setFont(font);
    const QString text = QStringLiteral("Drop audio files here");
    const int textHeight = painter.fontMetrics().height();
    const int total = 28 + 8 + textHeight;
    const QRect area = viewport()->rect();
    const int top = area.center().y() - total / 2;
    painter.drawPixmap(QRect(area.center().x() - 14, top, 28, 28),
                       Icons::tinted(QStringLiteral("document-drop"), tertiary, 56));
    painter.setPen(secondary);
    painter.drawText(QRect(area.left(), top + 36, area.width(), textHeight), Qt::AlignHCenter, text);
}
