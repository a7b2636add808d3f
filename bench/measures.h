#pragma once

class Table;

// Each adds rows to the table, and takes some seconds.

void MeasurePing(Table& table);
void MeasureNotifications(Table& table);
