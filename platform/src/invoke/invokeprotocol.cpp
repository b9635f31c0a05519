#include "invokeprotocol_p.h"

#include <QMetaEnum>

#include <climits>
#include <utility>

namespace om {
namespace system {
namespace invokeprotocol {

QVariantMap encodeRequest(const InvokeRequest &request, const QString &sender)
{
    QVariantMap dat;
    auto addText = [&dat](const QString &key, const QString &value) {
        if (!value.isEmpty())
            dat.insert(key, value);
    };
    addText(keyTarget(), request.target());
    addText(keyAction(), request.action());
    addText(keyMimeType(), request.mimeType());
    addText(keyUri(), QString::fromUtf8(request.uri().toEncoded()));
    if (!request.data().isEmpty())
        dat.insert(keyData(), QString::fromLatin1(request.data().toBase64()));
    if (request.fileTransferMode() != FileTransferMode::Unspecified)
        dat.insert(keyFileTransferMode(), int(request.fileTransferMode()));
    if (request.perimeter() != SecurityPerimeter::Default)
        dat.insert(keyPerimeter(), int(request.perimeter()));
    if (request.targetTypes() != InvokeTarget::Unspecified)
        dat.insert(keyTargetTypes(), int(request.targetTypes()));
    if (!request.metadata().isEmpty())
        dat.insert(keyMetadata(), request.metadata());
    addText(keySender(), sender);
    return dat;
}

namespace {

bool isText(const QVariant &value)
{
    return value.userType() == QMetaType::QString;
}

bool isNumber(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

} // namespace

bool decodeRequest(const QVariantMap &dat, InvokeRequest *request, QString *sender, QString *error)
{
    for (const QString &key : {keyTarget(), keyAction(), keyMimeType(), keyUri(), keyData(),
                               keySender()}) {
        if (dat.contains(key) && !isText(dat.value(key))) {
            *error = QStringLiteral("\"%1\" is not a string").arg(key);
            return false;
        }
    }
    for (const QString &key : {keyFileTransferMode(), keyPerimeter(), keyTargetTypes()}) {
        if (dat.contains(key) && !isNumber(dat.value(key))) {
            *error = QStringLiteral("\"%1\" is not a number").arg(key);
            return false;
        }
    }
    // A number that names no value of its enumeration would be undefined
    // once cast to it.
    const std::pair<QString, QMetaEnum> enumerations[] = {
        {keyFileTransferMode(), QMetaEnum::fromType<FileTransferMode::Type>()},
        {keyPerimeter(), QMetaEnum::fromType<SecurityPerimeter::Type>()}};
    for (const auto &enumeration : enumerations) {
        if (!dat.contains(enumeration.first))
            continue;
        const qint64 value = dat.value(enumeration.first).toLongLong();
        if (value < INT_MIN || value > INT_MAX || !enumeration.second.valueToKey(int(value))) {
            *error = QStringLiteral("\"%1\" has the unknown value %2")
                         .arg(enumeration.first, dat.value(enumeration.first).toString());
            return false;
        }
    }
    if (dat.contains(keyMetadata()) && dat.value(keyMetadata()).userType() != QMetaType::QVariantMap) {
        *error = QStringLiteral("\"%1\" is not an object").arg(keyMetadata());
        return false;
    }
    InvokeRequest r;
    r.setTarget(dat.value(keyTarget()).toString());
    r.setAction(dat.value(keyAction()).toString());
    r.setMimeType(dat.value(keyMimeType()).toString());
    if (dat.contains(keyUri()))
        r.setUri(QUrl::fromEncoded(dat.value(keyUri()).toString().toUtf8()));
    if (dat.contains(keyData())) {
        const QByteArray base64 = dat.value(keyData()).toString().toLatin1();
        const auto decoded = QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded) {
            *error = QStringLiteral("\"%1\" is not base64").arg(keyData());
            return false;
        }
        r.setData(*decoded);
    }
    r.setFileTransferMode(FileTransferMode::Type(dat.value(keyFileTransferMode()).toInt()));
    r.setPerimeter(SecurityPerimeter::Type(dat.value(keyPerimeter()).toInt()));
    r.setTargetTypes(InvokeTarget::Types(dat.value(keyTargetTypes()).toInt()));
    r.setMetadata(dat.value(keyMetadata()).toMap());
    *request = r;
    *sender = dat.value(keySender()).toString();
    return true;
}

} // namespace invokeprotocol
} // namespace system
} // namespace om
