// SPDX-License-Identifier: GPL-3.0-or-later
#include "gun.h"

#include "bullet.h"
#include "player.h"

#include <QAudioDevice>
#include <QGraphicsScene>
#include <QMediaDevices>
#include <QRandomGenerator>
#include <QSoundEffect>
#include <QTimer>
#include <QUrl>

#include <cmath>

namespace {

QPointF halfSize(const QPixmap &pixmap)
{
    return QPointF(pixmap.width() / 2.0, pixmap.height() / 2.0);
}

} // namespace

Gun::Gun(QGraphicsScene *scene, Player *owner, bool followsOwner)
    : followsOwner(followsOwner)
    , scene(scene)
    , owner(owner)
{
    setPixmap(QPixmap(":/resources/gun.png"));
    scene->addItem(this);
    followTimer = new QTimer(this);
    connect(followTimer, &QTimer::timeout, this, &Gun::followPlayer);
    followTimer->start(30);
}

void Gun::followPlayer()
{
    if (!owner)
        return;
    // The latch goes up before the signal, so a listener that reacts by
    // touching the weapon again cannot make it emit twice.
    if (!touchedOwner && owner->mayTouch(sceneBoundingRect()) &&
        collidesWithItem(owner, Qt::IntersectsItemShape)) {
        touchedOwner = true;
        emit collidedWithPlayer(type);
    }
    if (!followsOwner)
        return;
    const QPointF ownerCentre = owner->pos() + halfSize(owner->pixmap());
    const QPointF ownCentre = pos() + halfSize(pixmap());
    setPos(pos() + 0.2 * (ownerCentre - ownCentre));
}

void Gun::shoot(QPointF target)
{
    const Aim aim = aimAt(target, ":/resources/gun.png", ":/resources/gun2.png");
    if (!pullTrigger(":/sounds/gun_shoot.wav", 500))
        return;
    // Lopsided on purpose: -1.0, -0.5, 0 or +0.5 degrees.
    const double spread = QRandomGenerator::global()->bounded(-2, 2) * 0.5;
    fireBullet(aim.muzzle, aim.angle + spread, 1000);
}

Gun::Aim Gun::aimAt(QPointF target, const QString &rightPixmap, const QString &leftPixmap)
{
    setTransformOriginPoint(boundingRect().center());
    const QPointF from = muzzle();
    const double angle = angleBetween(from, target);
    // The left picture is the right one mirrored, so half a turn more keeps it upright.
    if (target.x() - from.x() < 0) {
        setRotation(angle + 180);
        setPixmap(QPixmap(leftPixmap));
    } else {
        setPixmap(QPixmap(rightPixmap));
        setRotation(angle);
    }
    return {from, angle};
}

QPointF Gun::muzzle() const
{
    return mapToScene(boundingRect().center());
}

double Gun::angleBetween(QPointF from, QPointF to)
{
    return std::atan2(to.y() - from.y(), to.x() - from.x()) * 180 / 3.141592653589793;
}

bool Gun::pullTrigger(const QString &soundPath, int cooldownMs)
{
    if (!canShoot)
        return false;
    canShoot = false;
    playSound(soundPath);
    QTimer::singleShot(cooldownMs, this, [this] { canShoot = true; });
    return true;
}

void Gun::playSound(const QString &path)
{
    // Without an output device an effect plays nothing and warns on every shot.
    if (QMediaDevices::defaultAudioOutput().isNull())
        return;
    auto *sound = new QSoundEffect(this);
    sound->setSource(QUrl::fromLocalFile(path));
    sound->setVolume(0.5f);
    // A held weapon fires for a whole match: spent effects must not pile up on it.
    connect(sound, &QSoundEffect::playingChanged, sound, [sound] {
        if (!sound->isPlaying())
            sound->deleteLater();
    });
    sound->play();
}

void Gun::fireBullet(QPointF muzzle, double angle, int lifetimeMs)
{
    if (!owner)
        return;
    scene->addItem(new Bullet(scene, muzzle, angle, owner, lifetimeMs, owner->damage));
}
