#include "hosts/dolphin/properties_plugin.h"

#include <KFileItem>
#include <KPluginFactory>
#include <QFormLayout>
#include <QLabel>
#include <QWidget>

K_PLUGIN_CLASS_WITH_JSON(kelvo::PropertiesPlugin, "properties_plugin.json")

namespace kelvo {

// What is said of one item would be wrong of several.
PropertiesPlugin::PropertiesPlugin(QObject* dialog, const QVariantList&)
    : KPropertiesDialogPlugin(qobject_cast<KPropertiesDialog*>(dialog)) {
  DolphinClient* const client = kelvo_dolphin_client();
  if (client == nullptr || properties == nullptr || properties->items().size() != 1) return;
  following_ = client->FollowTexts(properties->items().constFirst().mostLocalUrl(),
                                   [this](const QList<ItemText>& texts) { Show(texts); });
}

void PropertiesPlugin::Show(const QList<ItemText>& texts) {
  if (form_ == nullptr) AddPage(texts);
  for (int row = 0; row < texts_.size() && row < texts.size(); ++row) {
    const QString& text = texts[row].text;
    texts_[row]->setText(text);
    texts_[row]->setVisible(!text.isEmpty());
    form_->labelForField(texts_[row])->setVisible(!text.isEmpty());
  }
}

void PropertiesPlugin::AddPage(const QList<ItemText>& texts) {
  auto* const page = new QWidget;
  form_ = new QFormLayout(page);
  for (const ItemText& text : texts) {
    auto* const label = new QLabel(page);
    label->setTextFormat(Qt::PlainText);  // a colleague's name is none of ours
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    label->setFocusPolicy(Qt::StrongFocus);  // screen readers find nothing else in this dialog
    label->setAccessibleDescription(text.meaning);
    label->setToolTip(text.meaning);
    form_->addRow(text.title + QLatin1Char(':'), label);
    texts_.append(label);
  }
  properties->addPage(page, QStringLiteral("Kelvo"));
}

}  // namespace kelvo

#include "properties_plugin.moc"
