#include <om/system/invokerequest.h>

namespace om {
namespace system {

class InvokeRequestPrivate : public QSharedData
{
public:
    QString target;
    QString action;
    QString mimeType;
    QUrl uri;
    QByteArray data;
    FileTransferMode::Type fileTransferMode = FileTransferMode::Unspecified;
    SecurityPerimeter::Type perimeter = SecurityPerimeter::Default;
    InvokeTarget::Types targetTypes = InvokeTarget::Unspecified;
    QVariantMap metadata;
};

InvokeRequest::InvokeRequest() : d(new InvokeRequestPrivate) {}
InvokeRequest::InvokeRequest(const InvokeRequest &other) = default;
InvokeRequest &InvokeRequest::operator=(const InvokeRequest &other) = default;
InvokeRequest::~InvokeRequest() = default;

bool InvokeRequest::operator==(const InvokeRequest &other) const
{
    return d == other.d
           || (d->target == other.d->target && d->action == other.d->action
               && d->mimeType == other.d->mimeType && d->uri == other.d->uri
               && d->data == other.d->data && d->fileTransferMode == other.d->fileTransferMode
               && d->perimeter == other.d->perimeter && d->targetTypes == other.d->targetTypes
               && d->metadata == other.d->metadata);
}

QString InvokeRequest::target() const { return d->target; }
void InvokeRequest::setTarget(const QString &target) { d->target = target; }

QString InvokeRequest::action() const { return d->action; }
void InvokeRequest::setAction(const QString &action) { d->action = action; }

QString InvokeRequest::mimeType() const { return d->mimeType; }
void InvokeRequest::setMimeType(const QString &mimeType) { d->mimeType = mimeType; }

QUrl InvokeRequest::uri() const { return d->uri; }
void InvokeRequest::setUri(const QUrl &uri) { d->uri = uri; }
void InvokeRequest::setUri(const QString &uri) { d->uri = QUrl(uri); }

QByteArray InvokeRequest::data() const { return d->data; }
void InvokeRequest::setData(const QByteArray &data) { d->data = data; }

FileTransferMode::Type InvokeRequest::fileTransferMode() const { return d->fileTransferMode; }
void InvokeRequest::setFileTransferMode(FileTransferMode::Type mode) { d->fileTransferMode = mode; }

SecurityPerimeter::Type InvokeRequest::perimeter() const { return d->perimeter; }
void InvokeRequest::setPerimeter(SecurityPerimeter::Type perimeter) { d->perimeter = perimeter; }

InvokeTarget::Types InvokeRequest::targetTypes() const { return d->targetTypes; }
void InvokeRequest::setTargetTypes(InvokeTarget::Types types) { d->targetTypes = types; }

QVariantMap InvokeRequest::metadata() const { return d->metadata; }
void InvokeRequest::setMetadata(const QVariantMap &metadata) { d->metadata = metadata; }

} // namespace system
} // namespace om
