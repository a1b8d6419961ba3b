#pragma once

#include <QLatin1String>

// The member keys of the records that the source reader, the conflict check, the
// pages, the run and the target operations pass to one another. Keys compare without
// regard to letter case in a Collection; each is written here once, as the wizard
// writes it ("deaultstartpoint" included).
namespace RecordKeys {

// A user summary and login record of the source reader.
inline constexpr QLatin1String UserID{"UserID"};
inline constexpr QLatin1String FirstName{"FirstName"};
inline constexpr QLatin1String LastName{"LastName"};
inline constexpr QLatin1String LoginID{"LoginID"};
inline constexpr QLatin1String Domain{"Domain"};
inline constexpr QLatin1String Password{"Password"};

// The conflict result's five parallel lists, and the conflict dialog's record.
inline constexpr QLatin1String VaUserID{"VaUserID"};
inline constexpr QLatin1String ZeUserID{"ZeUserID"};
inline constexpr QLatin1String VaName{"VaName"};
inline constexpr QLatin1String ZeName{"ZeName"};
inline constexpr QLatin1String VaUserName{"VaUserName"};
inline constexpr QLatin1String ZeUserName{"ZeUserName"};

// The Directory's users as the conflict check reads them.
inline constexpr QLatin1String LoginIDs{"LoginIDs"};
inline constexpr QLatin1String Names{"Names"};
inline constexpr QLatin1String IDs{"IDs"};

// The user record of the run, under the target's field names.
inline constexpr QLatin1String Firstname{"Firstname"};
inline constexpr QLatin1String Lastname{"Lastname"};
inline constexpr QLatin1String ExchangeServer{"Exchange Server"};
inline constexpr QLatin1String Alias{"Alias"};
inline constexpr QLatin1String Email{"Email"};
inline constexpr QLatin1String GraphicsSetting{"GraphicsSetting"};
inline constexpr QLatin1String LanguageID{"LanguageID"};
inline constexpr QLatin1String TimezoneID{"TimezoneID"};
inline constexpr QLatin1String Enabled{"Enabled"};
inline constexpr QLatin1String MobileTelephoneNumber{"MobileTelephoneNumber"};
inline constexpr QLatin1String UserLogonFailureCounter{"UserLogonFailureCounter"};
inline constexpr QLatin1String DefaultStartPoint{"deaultstartpoint"};
// Added by the user loop.
inline constexpr QLatin1String PasswordClear{"PasswordClear"};
inline constexpr QLatin1String LoginIDChanged{"LoginIDChanged"};
inline constexpr QLatin1String Action{"Action"};
inline constexpr QLatin1String Status{"Status"};
// Added by the name sort of the report.
inline constexpr QLatin1String FullName{"FullName"};
// The largest grade of a grade record.
inline constexpr QLatin1String Total{"Total"};

// A store outcome record.
inline constexpr QLatin1String Server{"Server"};
inline constexpr QLatin1String Type{"Type"};

// A profile, and a profile outcome record.
inline constexpr QLatin1String ProfileID{"ProfileID"};
inline constexpr QLatin1String ProfileName{"ProfileName"};
inline constexpr QLatin1String ProfileDescription{"ProfileDescription"};
inline constexpr QLatin1String Profile{"Profile"};

// A template list and a template text.
inline constexpr QLatin1String Titles{"Titles"};
inline constexpr QLatin1String From{"From"};
inline constexpr QLatin1String Subject{"Subject"};
inline constexpr QLatin1String Body{"Body"};

} // namespace RecordKeys
