// The "Virtual card" panel: plug and unplug the virtual cards, flip the
// current card's hardware radio switch, change its SIM state and touch its
// fingerprint sensor, as a person would do to a real card.
#pragma once

#include <QDockWidget>
#include <QTimer>

class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTableWidget;

class VirtualCardPanel : public QDockWidget
{
    Q_OBJECT
public:
    static constexpr int RefreshMs = 300;

    explicit VirtualCardPanel(QWidget* parent = nullptr);

    // Re-reads the cards; also done every RefreshMs while visible.
    void refresh();
    int selectedCard() const;

protected:
    void changeEvent(QEvent* event) override;

private:
    QWidget* buildCards(QWidget* parent);
    QWidget* buildControls(QWidget* parent);
    void retranslate();
    void fillRow(int row);
    void updateControls();
    void plugSelected();
    void unplugSelected();
    void addCard();
    void toggleHardwareRadio(bool on);
    void applySimState();
    void touchFingerprint();

    QTableWidget* m_table = nullptr;
    QLabel* m_details = nullptr;
    QPushButton* m_plug = nullptr;
    QPushButton* m_unplug = nullptr;
    QPushButton* m_add = nullptr;
    QGroupBox* m_currentBox = nullptr;
    QCheckBox* m_hardwareRadio = nullptr;
    QLabel* m_simLabel = nullptr;
    QLineEdit* m_simWord = nullptr;
    QPushButton* m_simApply = nullptr;
    QLabel* m_fingerprintLabel = nullptr;
    QSpinBox* m_fingerprintState = nullptr;
    QPushButton* m_touch = nullptr;
    QTimer m_timer;
};
