#include "VirtualCardPanel.h"

#include "CommonUtils.h"
#include <sim/VirtualCard.h>
#include <utps.h>

#include <QCheckBox>
#include <QEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {
enum Column
{
    NameColumn,
    PluggedColumn,
    InUseColumn,
    SimColumn,
    PinColumn,
    RadioColumn,
    Columns
};

// The highest fingerprint verify-indication state the SDK defines.
constexpr int MaxVerifyState = 37;

QString yesNo(bool value)
{
    return value ? VirtualCardPanel::tr("yes") : VirtualCardPanel::tr("no");
}

QString onOff(int value)
{
    return value ? VirtualCardPanel::tr("on") : VirtualCardPanel::tr("off");
}

QString simText(int word)
{
    const bool usable = UTPS_SimStatusUsable(word);
    return QStringLiteral("%1 (%2)").arg(usable ? VirtualCardPanel::tr("usable")
                                                : VirtualCardPanel::tr("not usable"),
                                         QString::number(word));
}

QString pinStatusText(int status)
{
    switch (status) {
    case 8:
        return VirtualCardPanel::tr("PIN off");
    case 1:
        return VirtualCardPanel::tr("PIN verified");
    case 2:
        return VirtualCardPanel::tr("PIN required");
    case 3:
        return VirtualCardPanel::tr("PUK required");
    case 4:
        return VirtualCardPanel::tr("SIM blocked");
    default:
        break;
    }
    return QString::number(status);
}

// One line on the selected card: where it is and what state it is in.
QString detailsText(const sim::CardState& state)
{
    const sim::CardConfig& config = state.config;
    QStringList facts = {config.plugged ? VirtualCardPanel::tr("plugged")
                                        : VirtualCardPanel::tr("unplugged")};
    if (state.current)
        facts.append(VirtualCardPanel::tr("in use"));
    facts.append(VirtualCardPanel::tr("SIM %1").arg(simText(config.sim.status)));
    facts.append(pinStatusText(state.pinStatus));
    facts.append(VirtualCardPanel::tr("%1 PIN / %2 PUK tries left")
                     .arg(config.sim.pinRetries)
                     .arg(config.sim.pukRetries));
    if (state.offline)
        facts.append(VirtualCardPanel::tr("offline"));
    if (state.psState == 0)
        facts.append(VirtualCardPanel::tr("packet data detached"));
    if (state.fingerprintLocked)
        facts.append(VirtualCardPanel::tr("fingerprint locked"));
    return VirtualCardPanel::tr("%1 on port %2: %3")
        .arg(QString::fromStdString(config.name))
        .arg(config.port)
        .arg(facts.join(QStringLiteral(", ")));
}

QPushButton* button(const QString& name, QWidget* parent)
{
    auto* result = new QPushButton(parent);
    result->setObjectName(name);
    return result;
}
} // namespace

VirtualCardPanel::VirtualCardPanel(QWidget* parent) : QDockWidget(parent)
{
    setObjectName(QStringLiteral("LinkHost_VirtualCardPanel"));
    // Closed, it could not be brought back: there is no menu for it.
    setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    auto* content = new QWidget(this);
    auto* layout = new QVBoxLayout(content);
    layout->addWidget(buildCards(content), 1);
    layout->addWidget(buildControls(content));
    setWidget(content);
    retranslate();

    m_timer.setInterval(RefreshMs);
    connect(&m_timer, &QTimer::timeout, this, &VirtualCardPanel::refresh);
    connect(this, &QDockWidget::visibilityChanged, this, [this](bool visible) {
        if (visible)
            m_timer.start();
        else
            m_timer.stop();
    });
    refresh();
}

QWidget* VirtualCardPanel::buildCards(QWidget* parent)
{
    auto* box = new QWidget(parent);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    m_table = new QTableWidget(0, Columns, box);
    m_table->setObjectName(QStringLiteral("LinkHost_CardTable"));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->verticalHeader()->hide();
    m_table->setWordWrap(false);
    // Every column as wide as its texts, the name taking what is left.
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    connect(m_table, &QTableWidget::itemSelectionChanged, this, &VirtualCardPanel::updateControls);
    layout->addWidget(m_table, 1);

    m_details = new QLabel(box);
    m_details->setObjectName(QStringLiteral("LinkHost_CardDetails"));
    m_details->setWordWrap(true);
    layout->addWidget(m_details);

    auto* buttons = new QHBoxLayout;
    m_plug = button(QStringLiteral("LinkHost_PlugButton"), box);
    m_unplug = button(QStringLiteral("LinkHost_UnplugButton"), box);
    m_add = button(QStringLiteral("LinkHost_AddCardButton"), box);
    connect(m_plug, &QPushButton::clicked, this, &VirtualCardPanel::plugSelected);
    connect(m_unplug, &QPushButton::clicked, this, &VirtualCardPanel::unplugSelected);
    connect(m_add, &QPushButton::clicked, this, &VirtualCardPanel::addCard);
    buttons->addWidget(m_plug);
    buttons->addWidget(m_unplug);
    buttons->addWidget(m_add);
    buttons->addStretch();
    layout->addLayout(buttons);
    return box;
}

QWidget* VirtualCardPanel::buildControls(QWidget* parent)
{
    // These act on the card in use, whichever row is selected.
    m_currentBox = new QGroupBox(parent);
    m_currentBox->setObjectName(QStringLiteral("LinkHost_CurrentCardBox"));
    auto* form = new QFormLayout(m_currentBox);

    m_hardwareRadio = new QCheckBox(m_currentBox);
    m_hardwareRadio->setObjectName(QStringLiteral("LinkHost_HardwareRadio"));
    connect(m_hardwareRadio, &QCheckBox::toggled, this, &VirtualCardPanel::toggleHardwareRadio);
    form->addRow(m_hardwareRadio);

    auto* simRow = new QHBoxLayout;
    m_simWord = new QLineEdit(m_currentBox);
    m_simWord->setObjectName(QStringLiteral("LinkHost_SimStateWord"));
    m_simWord->setValidator(new QIntValidator(0, 65535, m_simWord));
    m_simApply = button(QStringLiteral("LinkHost_SimStateApply"), m_currentBox);
    connect(m_simWord, &QLineEdit::textChanged, this, &VirtualCardPanel::updateControls);
    connect(m_simWord, &QLineEdit::returnPressed, this, &VirtualCardPanel::applySimState);
    connect(m_simApply, &QPushButton::clicked, this, &VirtualCardPanel::applySimState);
    simRow->addWidget(m_simWord, 1);
    simRow->addWidget(m_simApply);
    m_simLabel = new QLabel(m_currentBox);
    form->addRow(m_simLabel, simRow);

    auto* fingerRow = new QHBoxLayout;
    m_fingerprintState = new QSpinBox(m_currentBox);
    m_fingerprintState->setObjectName(QStringLiteral("LinkHost_FingerprintState"));
    m_fingerprintState->setRange(0, MaxVerifyState);
    m_touch = button(QStringLiteral("LinkHost_FingerprintTouch"), m_currentBox);
    connect(m_touch, &QPushButton::clicked, this, &VirtualCardPanel::touchFingerprint);
    fingerRow->addWidget(m_fingerprintState, 1);
    fingerRow->addWidget(m_touch);
    m_fingerprintLabel = new QLabel(m_currentBox);
    form->addRow(m_fingerprintLabel, fingerRow);
    return m_currentBox;
}

void VirtualCardPanel::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange) {
        retranslate();
        refresh();
    }
    QDockWidget::changeEvent(event);
}

void VirtualCardPanel::retranslate()
{
    setWindowTitle(tr("Virtual card"));
    m_table->setHorizontalHeaderLabels(
        {tr("Name"), tr("Plugged"), tr("In use"), tr("SIM"), tr("PIN"), tr("Radio hw/sw")});
    m_plug->setText(tr("Plug"));
    m_unplug->setText(tr("Unplug"));
    m_add->setText(tr("Add card"));
    m_hardwareRadio->setText(tr("Hardware radio switch on"));
    m_simLabel->setText(tr("SIM state word:"));
    m_simWord->setPlaceholderText(tr("1-254 usable"));
    m_simApply->setText(tr("Apply"));
    m_fingerprintLabel->setText(tr("Fingerprint state:"));
    m_fingerprintState->setSpecialValueText(tr("0 (good finger)"));
    m_touch->setText(tr("Touch"));
}

int VirtualCardPanel::selectedCard() const
{
    const QList<QTableWidgetItem*> items = m_table->selectedItems();
    return items.isEmpty() ? -1 : items.first()->row();
}

void VirtualCardPanel::refresh()
{
    const int count = sim::VirtualCard::instance().cardCount();
    if (m_table->rowCount() != count)
        m_table->setRowCount(count);
    for (int row = 0; row < count; ++row)
        fillRow(row);
    if (count > 0 && selectedCard() < 0)
        m_table->selectRow(0);
    updateControls();
}

void VirtualCardPanel::fillRow(int row)
{
    const std::optional<sim::CardState> state = sim::VirtualCard::instance().card(row);
    if (!state)
        return;
    const sim::CardConfig& config = state->config;
    const QStringList texts = {
        QString::fromStdString(config.name),
        yesNo(config.plugged),
        yesNo(state->current),
        simText(config.sim.status),
        pinStatusText(state->pinStatus),
        QStringLiteral("%1/%2").arg(onOff(config.rf.hw), onOff(config.rf.sw))};
    for (int column = 0; column < Columns; ++column) {
        QTableWidgetItem* item = m_table->item(row, column);
        if (!item) {
            item = new QTableWidgetItem;
            m_table->setItem(row, column, item);
        }
        if (item->text() != texts.at(column))
            item->setText(texts.at(column));
    }
}

void VirtualCardPanel::updateControls()
{
    sim::VirtualCard& cards = sim::VirtualCard::instance();
    const std::optional<sim::CardState> selected = cards.card(selectedCard());
    m_plug->setEnabled(selected && !selected->config.plugged);
    m_unplug->setEnabled(selected && selected->config.plugged);
    m_details->setText(selected ? detailsText(*selected) : tr("No card"));

    const std::optional<sim::CardState> current = cards.card(cards.currentCard());
    m_currentBox->setTitle(
        current ? tr("Card in use: %1").arg(QString::fromStdString(current->config.name))
                : tr("No card in use"));
    m_hardwareRadio->setEnabled(current.has_value());
    m_simApply->setEnabled(current && !m_simWord->text().isEmpty());
    m_touch->setEnabled(current.has_value());
    if (current) {
        const QSignalBlocker blocker(m_hardwareRadio);
        m_hardwareRadio->setChecked(current->config.rf.hw != 0);
    }
}

void VirtualCardPanel::plugSelected()
{
    sim::VirtualCard::instance().plug(selectedCard());
    refresh();
}

void VirtualCardPanel::unplugSelected()
{
    const std::optional<sim::CardState> selected =
        sim::VirtualCard::instance().card(selectedCard());
    if (!selected)
        return;
    // Pulling a card out is what a person does with a hand: one slip of the
    // mouse should not do it.
    const int reply = CommonUtils::ShowMessage(
        QMessageBox::Question, window(), tr("Virtual card"),
        tr("Unplug \"%1\"?").arg(QString::fromStdString(selected->config.name)), tr("Unplug"),
        tr("Cancel"));
    if (reply != CommonUtils::FirstButton)
        return;
    sim::VirtualCard::instance().unplug(selected->index);
    refresh();
}

void VirtualCardPanel::addCard()
{
    sim::CardConfig config;
    config.name =
        tr("Virtual Card %1").arg(sim::VirtualCard::instance().cardCount() + 1).toStdString();
    config.plugged = false;
    const int index = sim::VirtualCard::instance().addCard(config);
    refresh();
    m_table->selectRow(index);
}

void VirtualCardPanel::toggleHardwareRadio(bool on)
{
    sim::VirtualCard& cards = sim::VirtualCard::instance();
    const std::optional<sim::CardState> current = cards.card(cards.currentCard());
    if (!current)
        return;
    cards.setRadio(on ? 1 : 0, current->config.rf.sw);
    refresh();
}

void VirtualCardPanel::applySimState()
{
    bool ok = false;
    const int word = m_simWord->text().toInt(&ok);
    if (!ok || sim::VirtualCard::instance().currentCard() < 0)
        return;
    sim::VirtualCard::instance().setSimState(word);
    refresh();
}

void VirtualCardPanel::touchFingerprint()
{
    if (sim::VirtualCard::instance().currentCard() < 0)
        return;
    sim::VirtualCard::instance().touchFingerprint(uint32_t(m_fingerprintState->value()));
    refresh();
}
