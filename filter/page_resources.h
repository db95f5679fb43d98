/* Dialog resources of the property pages, shared by the resource script and
   the code (plain defines: the resource compiler reads this too). */
#pragma once

#define IDD_STREAM_PAGE 101
#define IDD_ABOUT_PAGE 102

/* The stream page: the stream text and the statistics (level) box. */
#define IDC_STREAM_TEXT 1004
#define IDC_STATISTICS 1005
/* The about page's text. */
#define IDC_ABOUT_TEXT 1006
