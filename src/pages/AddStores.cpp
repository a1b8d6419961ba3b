#include "pages/AddStores.h"

#include "frame/Clock.h"
#include "frame/CommonFunctions.h"
#include "frame/GlobalVariables.h"
#include "frame/StateKeys.h"
#include "frame/StatusHolder.h"
#include "pages/ListLabel.h"
#include "pages/PageNames.h"
#include "pages/SelectUsers.h"

#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

template <typename Widget> Widget* named(Widget* widget, const char* name)
{
    widget->setObjectName(QLatin1String(name));
    return widget;
}

// The names of a list, each followed by ";", as the log writes them.
QString logText(const CollectionPtr& servers)
{
    QString text;
    for (const QVariant& name : servers->values()) {
        text += name.toString() + QLatin1Char(';');
    }
    return text;
}

// A copy of a saved list, or an empty one when none was saved yet.
CollectionPtr copyOf(const CollectionPtr& saved)
{
    CollectionPtr copy = Collection::create();
    if (saved) {
        for (const QVariant& name : saved->values()) {
            if (!copy->contains(name.toString())) {
                copy->add(name, name.toString());
            }
        }
    }
    return copy;
}

} // namespace

AddStores::AddStores(QWidget* parent)
    : WizardPage(PageNames::AddStores, QStringLiteral("Select Exchange Server Types"), parent),
      mcDetected(Collection::create()), mcE2kServers(Collection::create()),
      mcE55Servers(Collection::create())
{
    DescriptionLbl = named(new QLabel(this), "DescriptionLbl");
    DescriptionLbl->setWordWrap(true);
    Label1 = named(new QLabel(QStringLiteral("Servers Detected:"), this), "Label1");
    ServersDetectedLbx = named(new QListWidget(this), "ServersDetectedLbx");
    ToE2kBtn = named(new QPushButton(QStringLiteral(">"), this), "ToE2kBtn");
    FromE2kBtn = named(new QPushButton(QStringLiteral("<"), this), "FromE2kBtn");
    Label2 = named(new QLabel(QStringLiteral("Exchange 2000/2003 Servers:"), this), "Label2");
    E2kServersLbx = named(new QListWidget(this), "E2kServersLbx");
    ToE55Btn = named(new QPushButton(QStringLiteral(">"), this), "ToE55Btn");
    FromE55Btn = named(new QPushButton(QStringLiteral("<"), this), "FromE55Btn");
    Label3 = named(new QLabel(QStringLiteral("Exchange 5.5 Servers:"), this), "Label3");
    E55ServersLbx = named(new QListWidget(this), "E55ServersLbx");
    labelList(Label1, ServersDetectedLbx);
    labelList(Label2, E2kServersLbx);
    labelList(Label3, E55ServersLbx);

    const auto describe = [](QPushButton* button, const QString& what) {
        button->setToolTip(what);
        button->setAccessibleName(what);
    };
    describe(ToE2kBtn, QStringLiteral("Move to the Exchange 2000/2003 servers"));
    describe(FromE2kBtn, QStringLiteral("Move back from the Exchange 2000/2003 servers to the "
                                        "servers detected"));
    describe(ToE55Btn, QStringLiteral("Move to the Exchange 5.5 servers"));
    describe(FromE55Btn,
             QStringLiteral("Move back from the Exchange 5.5 servers to the servers detected"));

    auto* e2kButtons = new QVBoxLayout;
    e2kButtons->addStretch(1);
    e2kButtons->addWidget(ToE2kBtn);
    e2kButtons->addWidget(FromE2kBtn);
    e2kButtons->addStretch(1);
    auto* e55Buttons = new QVBoxLayout;
    e55Buttons->addStretch(1);
    e55Buttons->addWidget(ToE55Btn);
    e55Buttons->addWidget(FromE55Btn);
    e55Buttons->addStretch(1);

    auto* lists = new QGridLayout;
    lists->addWidget(Label1, 0, 0);
    lists->addWidget(ServersDetectedLbx, 1, 0, 3, 1);
    lists->addLayout(e2kButtons, 1, 1);
    lists->addWidget(Label2, 0, 2);
    lists->addWidget(E2kServersLbx, 1, 2);
    lists->addWidget(Label3, 2, 2);
    lists->addLayout(e55Buttons, 3, 1);
    lists->addWidget(E55ServersLbx, 3, 2);
    lists->setColumnStretch(0, 1);
    lists->setColumnStretch(2, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(DescriptionLbl);
    layout->addSpacing(8);
    layout->addLayout(lists, 1);
    layout->addLayout(createNavigationButtons(PreviousButton | NextButton | CancelButton));

    const QList<QWidget*> order = {
        ServersDetectedLbx, ToE2kBtn,      FromE2kBtn,  E2kServersLbx, ToE55Btn,
        FromE55Btn,         E55ServersLbx, PreviousBtn, NextBtn,       CancelBtn};
    for (qsizetype i = 1; i < order.size(); ++i) {
        setTabOrder(order[i - 1], order[i]);
    }

    const auto connectMove = [this](QPushButton* button, const char* handler, QListWidget* list,
                                    CollectionPtr AddStores::*from, CollectionPtr AddStores::*to) {
        connect(button, &QPushButton::clicked, this, [this, handler, list, from, to] {
            runHandler(QLatin1String(handler),
                       [this, list, from, to] { moveServer(list, this->*from, this->*to); });
        });
    };
    connectMove(ToE2kBtn, "ToE2kBtn_Click", ServersDetectedLbx, &AddStores::mcDetected,
                &AddStores::mcE2kServers);
    connectMove(FromE2kBtn, "FromE2kBtn_Click", E2kServersLbx, &AddStores::mcE2kServers,
                &AddStores::mcDetected);
    connectMove(ToE55Btn, "ToE55Btn_Click", ServersDetectedLbx, &AddStores::mcDetected,
                &AddStores::mcE55Servers);
    connectMove(FromE55Btn, "FromE55Btn_Click", E55ServersLbx, &AddStores::mcE55Servers,
                &AddStores::mcDetected);
}

void AddStores::Form_Load()
{
    DescriptionLbl->setText(CommonFunctions::ReplaceAppNames(
        QStringLiteral("The stores in the Stores Detected list are those stores used in <EXAPP>. "
                       "To be able to use them in <IMAPP> you need to specify their type.")));
    const int width = qMax(sizeHint().width(), 520);
    resize(width, qMax(qMax(sizeHint().height(), 340), layout()->totalHeightForWidth(width)));
}

void AddStores::setDetectedServers(const QStringList& servers)
{
    mHandedOver = servers;
}

void AddStores::LoadStateNext()
{
    GlobalVariables::gcStoresDetected = mHandedOver;
    mcE2kServers = Collection::create();
    mcE55Servers = Collection::create();
    showDetected(mHandedOver);
}

void AddStores::LoadStatePrev()
{
    const CollectionPtr saved = StatusHolder::GetExchangeServers();
    mcE2kServers = copyOf(toCollection(saved->item(StateKeys::E2kServers)));
    mcE55Servers = copyOf(toCollection(saved->item(StateKeys::E55Servers)));
    QStringList untyped;
    for (const QString& server : GlobalVariables::gcStoresDetected) {
        if (!mcE2kServers->contains(server) && !mcE55Servers->contains(server)) {
            untyped << server;
        }
    }
    showDetected(untyped);
}

// Fills the detected list and writes the page's launch line with the servers in it.
void AddStores::showDetected(const QStringList& servers)
{
    mcDetected = Collection::create();
    for (const QString& server : servers) {
        // Two names that differ only in letter case are one server.
        if (!mcDetected->contains(server)) {
            mcDetected->add(server, server);
        }
    }
    showLists();
    CommonFunctions::WriteLog(QStringLiteral("AddStores Launched, Servers: ") +
                              logText(mcDetected) + AppClock::logTime());
}

void AddStores::showLists()
{
    const auto fill = [](QListWidget* list, const CollectionPtr& servers) {
        list->clear();
        for (const QVariant& name : servers->values()) {
            list->addItem(name.toString());
        }
    };
    fill(ServersDetectedLbx, mcDetected);
    fill(E2kServersLbx, mcE2kServers);
    fill(E55ServersLbx, mcE55Servers);
}

void AddStores::moveServer(QListWidget* fromList, const CollectionPtr& from,
                           const CollectionPtr& to)
{
    const QListWidgetItem* selected = fromList->currentItem();
    if (selected == nullptr || !selected->isSelected() || !from->contains(selected->text())) {
        return;
    }
    const QString server = selected->text();
    from->remove(server);
    to->add(server, server);
    showLists();
}

void AddStores::NextBtn_Click()
{
    CommonFunctions::WriteLog(QStringLiteral("AddStores: E2k Servers: ") + logText(mcE2kServers));
    CommonFunctions::WriteLog(QStringLiteral("AddStores: E55 Servers: ") + logText(mcE55Servers));
    StatusHolder::SetExchangeServers(mcE2kServers, mcE55Servers);
    const QPoint position = pos();
    const CollectionPtr conflicts = mcConflicts;
    handOverBackTo(*this, PageNames::SelectUsers, Restore::Next, gbBackToVarnel,
                   [position, conflicts](WizardPage& page) {
                       page.move(position);
                       if (auto* users = qobject_cast<SelectUsers*>(&page)) {
                           users->setConflictResult(conflicts);
                       }
                   });
}

void AddStores::PreviousBtn_Click()
{
    handOver(gbBackToVarnel ? PageNames::SelectVarnel : PageNames::SelectZephrin, Restore::Prev);
}
