// The lists as they are shipped, and deliberately not tidied: each keeps its duplicates.
#include "settings/filter_categories.h"

#include "settings/filename_filter.h"

namespace kelvo {
namespace {

// Deliberate: two patterns begin with a blank, and match only names that do.
constexpr std::string_view kDocuments[] = {
    "*.pmd",     "*.pmd",     "*.pdf",  "*.indd",    "*.indt",    "*.inds",        "*.eps",
    "*.ai",      "*.cdt",     "*.qpw",  "*.qpw",     "*.shw",     "*.wcm",         "*.mbf",
    "*.htm",     "*.css",     "*.html", "*.numbers", "*.numbers", "*.pages",       "*.pages",
    "*.keynote", "*.keynote", "*.wps",  "*.wps",     "*.key",     "*.nmbtemplate", "*.template",
    "*.kth",     "*.doc",     "*.docx", "*.dot",     "*.dotx",    "*.dotm",        "*.docm",
    "*.xls",     "*.xlsx",    "*.xlt",  "*.xltx",    "*.xlsb",    "*.xlr",         "*.xltm",
    "*.xlsm",    "*.xlam",    "*.xla",  "*.csv",     "*.vsd",     "*.vsx",         "*.ppt",
    "*.pot",     "*.pps",     "*.ppa",  "*.sxi",     "*.odp",     "*.pptx",        "*.pptm",
    "*.ppsx",    "*.potx",    "*.ppam", "*.ppsm",    "*.potm",    "*.thmx",        "*.sxd",
    " *.sxi",    "*.sxw",     "*.smf",  "*.sxc",     "*.sdc",     "*.qxd",         " *.qxt",
    "*.rtf",     "*.txt",     "*.wks",  "*.ods",     "*.wpd",     "*.odt",         "*.pub",
    "*.xml"};

constexpr std::string_view kFinancial[] = {
    "*.acc", "*.q00", "*.q01", "*.q02", "*.q03", "*.q04", "*.q05", "*.q98", "*.qba",
    "*.qbb", "*.qbi", "*.qbw", "*.qbx", "*.qdb", "*.qdf", "*.qdt", "*.qel", "*.qph",
    "*.qif", "*.qmd", "*.qsd", "*.tax", "*.ta0", "*.ta1", "*.ta2", "*.ta3", "*.ta4",
    "*.ta5", "*.ta6", "*.ta7", "*.ta8", "*.ta9", "*.t03", "*.t04", "*.t05", "*.t06",
    "*.t07", "*.t08", "*.ofc", "*.mny", "*.tdb", "*.npc", "*.adb", "*.eml", "*.hcx"};

// Deliberate: two patterns have run together, and one has no dot.
constexpr std::string_view kImages[] = {"*.qts",  "*.photolibrary*.aplibrary*.cmt",
                                        "*.cr2",  "*crw",
                                        "*.dng",  "*.fpx",
                                        "*.gif",  "*.img",
                                        "*.jgi",  "*.jfif",
                                        "*.jpg",  "*.jpeg",
                                        "*.jpg2", "*.jp2",
                                        "*.j62",  "*.psd",
                                        "*.bmp",  "*.tiff",
                                        "*.tif",  "*.svg",
                                        "*.k25",  "*.kdc",
                                        "*.kqp",  "*.nef",
                                        "*.mrw",  "*.pcd",
                                        "*.pef",  "*.png",
                                        "*.raf",  "*.raw",
                                        "*.tif",  "*.tiff",
                                        "*.xcf",  "*.ico"};

constexpr std::string_view kArchives[] = {"*.zip", "*.rar", "*.tar", "*.gz"};

constexpr std::string_view kDatabases[] = {"*.mdb", "*.mde", "*.mda", "*.wdb", "*.odb"};

// Deliberate: one pattern has no dot.
constexpr std::string_view kMusic[] = {
    "*.aac", "*.m4p",  "*.band", "*.logic", "*.mp3", "*.mp2", "*.mpa", "*.mpga", "*.m4a",  "*.m4b",
    "*.m4r", "*.m3u",  "*m3url", "*.m3u8",  "*.pls", "*.wpl", "*.wax", "*.wav",  "*.wave", "*.bwf",
    "*.aif", "*.aiff", "*.aifc", "*.au",    "*.snd", "*.caf", "*.cda", "*.flac", "*.ape",  "*.wv",
    "*.mpc", "*.tta",  "*.shn",  "*.wma",   "*.wma", "*.ogg", "*.ogg", "*.oga",  "*.opus", "*.spx",
    "*.ra",  "*.ram",  "*.amr",  "*.awb",   "*.gsm", "*.ac3", "*.dts", "*.mid",  "*.midi", "*.rmi",
    "*.kar", "*.miz",  "*.miz",  "*.xm",    "*.mod", "*.s3m", "*.it",  "*.mtm",  "*.med",  "*.far",
    "*.669", "*.okt",  "*.stm",  "*.voc",   "*.ult", "*.xpl"};

// Deliberate: two patterns have run together.
constexpr std::string_view kVideo[] = {
    "*.amc",  "*.asf", "*.swf",  "*.avi",  "*.mov",  "*.mov",  "*.qt",   "*.mqv",
    "*.mp4",  "*.m4v", "*.mpg",  "*.mpeg", "*.mpe",  "*.m1v",  "*.m2v",  "*.mpv",
    "*.m2p",  "*.m2t", "*.m2ts", "*.mts",  "*.tod",  "*.vob",  "*.wmv",  "*.wmv",
    "*.wm",   "*.asx", "*.wvx",  "*.dv",   "*.dif",  "*.mkv",  "*.webm", "*.flv",
    "*.f4v",  "*.fli", "*.flc",  "*.3gp",  "*.3g2",  "*.3gpp", "*.3gp2", "*.rm",
    "*.rmvb", "*.rv",  "*.ogv",  "*.ogm",  "*.divx", "*.mjpg", "*.mxf",  "*.theater.fcpbundle*.aam",
    "*.sdv",  "*.vfw"};

constexpr FilterCategory kCategories[] = {{"documents", kDocumentsFilterType, kDocuments},
                                          {"financial", kFinancialFilterType, kFinancial},
                                          {"images", kImagesFilterType, kImages},
                                          {"archives", kArchivesFilterType, kArchives},
                                          {"databases", kDatabasesFilterType, kDatabases},
                                          {"music", kMusicFilterType, kMusic},
                                          {"video", kVideoFilterType, kVideo}};

}  // namespace

std::span<const FilterCategory> FilterCategories() { return kCategories; }

}  // namespace kelvo
