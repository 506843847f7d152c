#include "ui/FloatingBar.h"

#include "dictation/AppModel.h"

FloatingBar::FloatingBar(Clock &clock)
    : barModel(clock)
    , panelWindow(barModel)
    , controller(panelWindow, clock)
{
    panelWindow.prepareGraphics();
}

void FloatingBar::show(const AppModel &model)
{
    const auto followState = [this, &model] {
        barModel.setState(model.state());
        controller.show(model.state());
    };
    QObject::connect(&model, &AppModel::stateChanged, &controller, followState);
    QObject::connect(&model, &AppModel::partialTextChanged, &barModel,
        [this, &model] { barModel.setPartialText(model.partialText()); });
    QObject::connect(&model, &AppModel::levelChanged, &barModel, [this, &model] { barModel.setLevel(model.level()); });
    barModel.setPartialText(model.partialText());
    barModel.setLevel(model.level());
    followState();
}
