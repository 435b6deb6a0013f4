#include "platform/portable/MachineFacts.h"

#include "platform/portable/WindowsNames.h"

#include <QtCore/QDebug>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <cmath>
#include <limits>

#ifdef Q_OS_UNIX
#include <pwd.h>
#include <unistd.h>
#endif

namespace KvPlatform {

namespace {

constexpr qint64 MaximumSize = 64 * 1024 * 1024;

QString failedPart(const QString &where, const QString &name)
{
    return where.isEmpty() ? name : where + u'.' + name;
}

/** One JSON object and what to call it, with a reader for each shape. */
class Members
{
public:
    Members(const QJsonObject &object, const QString &where, QStringList *faults)
        : m_object(object)
        , m_where(where)
        , m_faults(faults)
    {}

    /** The member; undefined if it is absent, null, or of another type. */
    QJsonValue member(QStringView name, QJsonValue::Type type) const
    {
        const QJsonValue value = m_object.value(name);
        if (value.isUndefined() || value.isNull() || value.type() == type)
            return value.isNull() ? QJsonValue(QJsonValue::Undefined) : value;
        fault(name, QStringLiteral("of the wrong type"));
        return QJsonValue(QJsonValue::Undefined);
    }

    QString text(QStringView name) const { return member(name, QJsonValue::String).toString(); }
    bool boolean(QStringView name, bool fallback) const { return member(name, QJsonValue::Bool).toBool(fallback); }

    /** A whole number between the limits; `fallback` otherwise. */
    qint64 number(QStringView name, qint64 fallback, qint64 least, qint64 greatest) const
    {
        const QJsonValue value = member(name, QJsonValue::Double);
        if (value.isUndefined())
            return fallback;
        const double number = value.toDouble();
        if (number >= double(least) && number <= double(greatest) && std::trunc(number) == number)
            return qint64(number);
        fault(name, QStringLiteral("not a whole number in its range"));
        return fallback;
    }

    /** The members of an object; an empty one if it is absent. */
    Members object(QStringView name) const
    {
        return Members(member(name, QJsonValue::Object).toObject(), failedPart(m_where, name.toString()), m_faults);
    }

    bool has(QStringView name) const { return m_object.value(name).isObject(); }
    const QJsonObject &json() const { return m_object; }

    void fault(QStringView name, const QString &what) const
    {
        m_faults->append(failedPart(m_where, name.toString()) + QStringLiteral(" is ") + what);
    }

    /** Calls `use` with each object of an array; what is no object is passed over. */
    template<typename Use>
    void each(QStringView name, const Use &use) const
    {
        const QJsonArray array = member(name, QJsonValue::Array).toArray();
        for (qsizetype i = 0; i < array.size(); ++i) {
            const QString element = QStringLiteral("%1[%2]").arg(name).arg(i);
            if (array.at(i).isObject())
                use(Members(array.at(i).toObject(), failedPart(m_where, element), m_faults));
            else
                fault(element, QStringLiteral("of the wrong type"));
        }
    }

private:
    QJsonObject m_object;
    QString m_where;
    QStringList *m_faults;
};

std::optional<hresult_error> readError(const Members &from)
{
    if (!from.json().contains(u"error") || !from.has(u"error")) {
        from.member(u"error", QJsonValue::Object);
        return std::nullopt;
    }
    const Members error = from.object(u"error");
    // Error codes are often written as the unsigned numbers of their hexadecimal form.
    const qint64 code =
        error.number(u"code", 0, std::numeric_limits<qint32>::min(), std::numeric_limits<quint32>::max());
    return hresult_error(qint32(quint32(quint64(code))), error.text(u"message"));
}

/** The error of a list that is an object instead of an array, whose own members are then looked at. */
std::optional<hresult_error> readListError(const Members &root, QStringView name)
{
    return root.has(name) ? readError(root.object(name)) : std::nullopt;
}

std::optional<MachineUser> readUser(const Members &root, QStringView name)
{
    if (!root.has(name)) {
        root.member(name, QJsonValue::Object);
        return std::nullopt;
    }
    const Members from = root.object(name);
    MachineUser user{from.text(u"name"), from.text(u"domain"), from.text(u"sid"), QByteArray()};
    const std::optional<QByteArray> sid = sidFromText(user.sidText);
    if (!sid && !user.sidText.isEmpty())
        from.fault(u"sid", QStringLiteral("no SID"));
    user.sid = sid.value_or(QByteArray());
    if (!sid)
        user.sidText.clear();
    return user;
}

MachineTokenFacts readTokens(const Members &from)
{
    MachineTokenFacts tokens;
    tokens.session = from.boolean(u"session", tokens.session);
    tokens.linked = from.boolean(u"linked", tokens.linked);
    tokens.borrowed = from.boolean(u"borrowed", tokens.borrowed);
    return tokens;
}

QHash<QString, QString> readEnvironment(const Members &from)
{
    QHash<QString, QString> environment;
    const QStringList names = from.json().keys();
    for (const QString &name : names) {
        const QJsonValue value = from.member(name, QJsonValue::String);
        if (value.isString())
            environment.insert(upperCased(name), value.toString());
    }
    return environment;
}

QHash<Folder, QString> readFolders(const Members &from)
{
    static constexpr std::pair<const char16_t *, Folder> Names[] = {
        {u"Programs", Folder::Programs},
        {u"CommonPrograms", Folder::CommonPrograms},
        {u"ProgramFiles", Folder::ProgramFiles},
        {u"ProgramFilesX86", Folder::ProgramFilesX86},
    };
    QHash<Folder, QString> folders;
    for (const auto &[name, folder] : Names) {
        const QString path = from.text(name);
        if (!path.isEmpty())
            folders.insert(folder, path);
    }
    return folders;
}

QList<MachineRuntimeUser> readUsers(const Members &root)
{
    constexpr int Most = std::numeric_limits<int>::max();
    QList<MachineRuntimeUser> users;
    root.each(u"users", [&users](const Members &from) {
        users.append({int(from.number(u"type", 0, 0, Most)), int(from.number(u"authenticationStatus", 0, 0, Most)),
                      from.text(u"nonRoamableId"), readError(from)});
    });
    return users;
}

PackageVersion readVersion(const Members &from)
{
    const auto part = [&from](QStringView name) { return quint16(from.number(name, 0, 0, 0xFFFF)); };
    return {part(u"major"), part(u"minor"), part(u"build"), part(u"revision")};
}

QList<MachinePackageEntry> readEntries(const Members &package)
{
    QList<MachinePackageEntry> entries;
    package.each(u"entries", [&entries](const Members &from) {
        entries.append({from.text(u"displayName"), from.text(u"description"), from.text(u"appUserModelId"),
                        from.text(u"logo"), readError(from)});
    });
    return entries;
}

QList<MachinePackage> readPackages(const Members &root)
{
    QList<MachinePackage> packages;
    root.each(u"packages", [&packages](const Members &from) {
        packages.append({from.text(u"fullName"), from.text(u"displayName"), from.text(u"publisherDisplayName"),
                         readVersion(from.object(u"version")), readEntries(from), readError(from)});
    });
    return packages;
}

/** One part of a SID text as a number: decimal, or hexadecimal behind "0x" as large authorities are written. */
std::optional<quint64> sidNumber(QStringView text, quint64 greatest)
{
    const bool hexadecimal = text.startsWith(u"0x", Qt::CaseInsensitive);
    const QStringView digits = hexadecimal ? text.sliced(2) : text;
    // A sign or a blank would satisfy the conversion.
    if (digits.isEmpty() || digits.size() > 20 || !digits.front().isLetterOrNumber())
        return std::nullopt;
    bool ok = false;
    const quint64 number = digits.toULongLong(&ok, hexadecimal ? 16 : 10);
    return ok && number <= greatest ? std::optional<quint64>(number) : std::nullopt;
}

QStringList readFile(const QString &path, QByteArray *json)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {file.errorString()};
    *json = file.read(MaximumSize + 1);
    if (json->size() > MaximumSize)
        return {QStringLiteral("larger than 64 MiB")};
    return {};
}

} // namespace

std::optional<QByteArray> sidFromText(const QString &text)
{
    constexpr qsizetype MostParts = 15;
    const QList<QStringView> parts = QStringView(text).split(u'-');
    const qsizetype count = parts.size() - 3;
    if (count < 1 || count > MostParts || parts[0].compare(u"S", Qt::CaseInsensitive) != 0 || parts[1] != u"1")
        return std::nullopt;
    const std::optional<quint64> authority = sidNumber(parts[2], 0xFFFF'FFFF'FFFF);
    if (!authority)
        return std::nullopt;
    QByteArray sid;
    sid.append(char(1)).append(char(count));
    for (int shift = 40; shift >= 0; shift -= 8)
        sid.append(char(quint8(*authority >> shift)));
    for (qsizetype i = 3; i < parts.size(); ++i) {
        const std::optional<quint64> part = sidNumber(parts[i], 0xFFFF'FFFF);
        if (!part)
            return std::nullopt;
        for (int shift = 0; shift < 32; shift += 8)
            sid.append(char(quint8(*part >> shift)));
    }
    return sid;
}

MachineFacts MachineFacts::parse(const QByteArray &json, QStringList *faults)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (!document.isObject()) {
        const bool broken = error.error != QJsonParseError::NoError;
        faults->append(broken ? QStringLiteral("%1 at offset %2").arg(error.errorString()).arg(error.offset)
                              : QStringLiteral("not a JSON object"));
        return {};
    }
    const Members root(document.object(), QString(), faults);
    MachineFacts facts;
    facts.consoleUser = readUser(root, u"consoleUser");
    facts.processUser = readUser(root, u"processUser");
    if (!facts.processUser)
        facts.processUser = facts.consoleUser;
    facts.elevated = root.boolean(u"elevated", false);
    facts.uiLanguage = quint16(root.number(u"uiLanguage", facts.uiLanguage, 0, 0xFFFF));
    facts.environment = readEnvironment(root.object(u"environment"));
    facts.folders = readFolders(root.object(u"folders"));
    facts.tokens = readTokens(root.object(u"tokens"));
    facts.metadata = root.text(u"metadata");
    facts.usersError = readListError(root, u"users");
    if (!facts.usersError)
        facts.users = readUsers(root);
    facts.packagesError = readListError(root, u"packages");
    if (!facts.packagesError)
        facts.packages = readPackages(root);
    return facts;
}

MachineFacts MachineFacts::load(const QString &folder)
{
    const QString path = folder + QStringLiteral("/machine.json");
    QByteArray json;
    QStringList faults = readFile(path, &json);
    const MachineFacts facts = faults.isEmpty() ? parse(json, &faults) : MachineFacts();
    if (!faults.isEmpty())
        qWarning().noquote() << QStringLiteral("[MACHINE] %1: %2").arg(path, faults.join(QStringLiteral("; ")));
    return facts;
}

MachineFacts MachineFacts::host()
{
    MachineUser user;
    quint64 id = 0;
#ifdef Q_OS_UNIX
    id = ::getuid();
    passwd entry{};
    passwd *found = nullptr;
    QByteArray buffer(16384, '\0');
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), size_t(buffer.size()), &found) == 0 && found)
        user.name = QString::fromLocal8Bit(found->pw_name);
#else
    user.name = qEnvironmentVariable("USERNAME");
#endif
    user.sidText = QStringLiteral("S-1-5-21-0-0-0-%1").arg(id);
    user.sid = sidFromText(user.sidText).value_or(QByteArray());
    MachineFacts facts;
    facts.consoleUser = user;
    facts.processUser = user;
    return facts;
}

} // namespace KvPlatform
